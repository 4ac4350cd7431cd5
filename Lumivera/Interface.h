#pragma once

/// The number of the kit's interface: everything that a wallpaper compiles into its library, such
/// as the sizes of the kit's classes and the order of their virtual functions. Wallpapers made for
/// one number do not run with another. `./dev interface` tells when a change needs the next number.
#define LUMIVERA_INTERFACE 1

#define LUMIVERA_TEXT_OF_VALUE(value) #value
#define LUMIVERA_TEXT_OF(macro) LUMIVERA_TEXT_OF_VALUE(macro)

/// Writes the number into the library as an ELF note, which hosts read before they load it. Once in
/// a library, outside all functions. LUMIVERA_WALLPAPER contains it.
///
/// The note is of type 1, its name is "Lumivera", its contents are 4 bytes in the byte order of the
/// machine. It is written in assembler, because a variable's section would not be marked as a note.
#define LUMIVERA_INTERFACE_NOTE                                                                    \
    asm(".pushsection .note.lumivera, \"a\", %note\n"                                              \
        ".balign 4\n"                                                                              \
        ".long 9, 4, 1\n"                                                                          \
        ".asciz \"Lumivera\"\n"                                                                    \
        ".balign 4\n"                                                                              \
        ".long " LUMIVERA_TEXT_OF(LUMIVERA_INTERFACE) "\n.popsection\n")
