#!/bin/sh
# What the built module shows and needs: its exports on Windows and on Linux, and no library that a bare system
# lacks. Arguments: the module, objdump and nm for its platform.
set -eu
module=$1
objdump=$2
nm=$3

differ() {
    printf '%s: %s\n  expected: %s\n  found:    %s\n' "$module" "$1" "$2" "$3" >&2
    exit 1
}

words() {
    LC_ALL=C sort | tr '\n' ' ' | sed 's/ $//'
}

case $module in
*.8bf)
    found=$("$objdump" -p "$module" | sed -n '/Ordinal\/Name Pointer\] Table/,/^$/s/^.*\] *\(+base\[.*\] *[0-9a-f]* *\)\{0,1\}//p' |
        grep -v Table | words)
    expected="MarbleFrondKeeperPluginProc PluginMain"
    [ "$found" = "$expected" ] || differ "exports" "$expected" "$found"
    ;;
*.so)
    found=$("$nm" -D --defined-only "$module" | sed 's/^.* //' | words)
    [ "$found" = "PluginMain" ] || differ "visible names" "PluginMain" "$found"

    # Names with this prefix would come from the process that loads the module: its operators new and delete.
    found=$("$nm" -D --undefined-only "$module" | sed 's/^.* //' | grep -E '^_Z(n|d)[wal]' | words || true)
    [ -z "$found" ] || differ "allocation operators taken from outside" "none" "$found"
    ;;
*)
    differ "a module ends in" ".8bf or .so" "$module"
    ;;
esac

# The libraries that every Windows has, or the C library; none of the compiler's.
for library in $("$objdump" -p "$module" | sed -n 's/^.*DLL Name: //p; s/^ *NEEDED *//p' | tr A-Z a-z); do
    case $library in
    kernel32.dll | user32.dll | gdi32.dll | shell32.dll | comctl32.dll | msvcrt.dll) ;;
    libc.so.* | libm.so.* | ld-linux-* | libasan.so.* | libubsan.so.*) ;;
    *) differ "a library is needed that a bare system lacks" "none" "$library" ;;
    esac
done
