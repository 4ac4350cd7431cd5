#!/usr/bin/env bash
# extension-test.sh BUILD_FOLDER: checks what can be seen of GNOME's extension without a shell.
set -euo pipefail
command -v gjs >/dev/null || { echo "needs gjs"; exit 77; }
here=$(dirname "${BASH_SOURCE[0]}")
build=$(realpath "$1")
gjs -m "$here/coverage-test.js"

# The form for older shells has no word of modules left, and the same engine reads it.
legacy="$build/extensions/gnome/legacy/lumivera@lumivera.app"
! grep -nE '^(import|export)' "$legacy"/*.js || { echo "the older form is none"; exit 1; }
for file in "$legacy"/*.js; do
    gjs -c "new Function(imports.byteArray.toString(
        imports.gi.GLib.file_get_contents('$file')[1]))" || { echo "$file is no script"; exit 1; }
done
exported=$(gjs -c "imports.searchPath.unshift('$legacy');
    print(imports.coverage.coverOf({x: 0, y: 0, width: 9, height: 9}, []))") || true
[[ $exported == none ]] || { echo "the older form exports nothing"; exit 1; }

for form in legacy modern; do
    metadata=$build/extensions/gnome/$form/lumivera@lumivera.app/metadata.json
    [[ -s $build/extensions/gnome/lumivera@lumivera.app-$form.zip ]] ||
        { echo "there is no zip of the $form form"; exit 1; }
    gjs -c "const text = imports.gi.GLib.file_get_contents('$metadata')[1];
        const metadata = JSON.parse(new TextDecoder().decode(text));
        if (metadata.uuid !== 'lumivera@lumivera.app' ||
            metadata['shell-version'].includes('43') !== ('$form' === 'legacy'))
            throw new Error('the metadata of the $form form are wrong');
        0;"
done
