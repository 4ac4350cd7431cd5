# Prints one line about CTest's JUnit file: how many tests passed and failed, and how many were
# skipped for which reason. The reason is what GTEST_SKIP() was given or, of a script, its last line.
function text(line) {
    gsub(/&lt;/, "<", line)
    gsub(/&gt;/, ">", line)
    gsub(/&quot;/, "\"", line)
    gsub(/&apos;/, "'", line)
    gsub(/&amp;/, "\\&", line)
    return line
}

function count(reason) {
    if (!(reason in counts)) {
        reasons[++reasonCount] = reason
    }
    ++counts[reason]
    ++skipped
}

/^\t<testcase / {
    isRun = /status="run"/
    isDisabled = /status="disabled"/
    skippedBy = reason = last = ""
}

/^\t\t<skipped message="SKIP_/ { skippedBy = /REGULAR/ ? "GoogleTest" : "script" }

/^\t\t<system-out>/ {
    sub(/^\t\t<system-out>/, "")
    isOutput = 1
}

isOutput {
    isLast = sub(/<\/system-out>$/, "")
    if (isReason && reason == "") {
        reason = $0
    }
    isReason = /: Skipped$/
    if ($0 != "") {
        last = $0
    }
    isOutput = !isLast
}

/^\t<\/testcase>/ {
    if (isRun) {
        ++passed
    } else if (isDisabled) {
        count("disabled")
    } else if (skippedBy == "") {
        ++failed
    } else {
        if (skippedBy == "script") {
            reason = last
        }
        count(reason == "" ? "no reason given" : text(reason))
    }
}

END {
    printf "%d tests passed", passed
    if (failed) {
        printf ", %d failed", failed
    }
    printf ", %d skipped", skipped
    for (i = 1; i <= reasonCount; ++i) {
        printf "%s %s (%d)", i == 1 ? ":" : ";", reasons[i], counts[reasons[i]]
    }
    print ""
}
