#!/usr/bin/env bash
# Does the shared library show exactly the names of the list, are these the ones that the header declares, and does it
# need the system's own libraries alone?
#
#   cmake/check_exports.sh names LIBRARY LIST HEADER...
#   cmake/check_exports.sh needs LIBRARY
#
# OBJDUMP and NM name the tools of the target.
set -euo pipefail

nm=${NM:-nm} objdump=${OBJDUMP:-objdump}

exported_names() {
    case $1 in
        *.dll) "$objdump" -p "$1" | awk '
            # The table ends with an empty line; a row is "[ ordinal ] [hint] name" or "[ index ] name".
            /^\[Ordinal\/Name Pointer\] Table/ { table = 1; next }
            table && NF == 0 { exit }
            table { print $NF }' ;;
        *) "$nm" --dynamic --defined-only "$1" | awk '{ print $NF }' ;;
    esac | sort
}

needed_libraries() {
    case $1 in
        *.dll | *.exe) "$objdump" -p "$1" | awk '/DLL Name:/ { print tolower($NF) }' ;;
        *) "$objdump" -p "$1" | awk '$1 == "NEEDED" { print $2 }' ;;
    esac | sort -u
}

# A DLL can export by ordinal alone, without a name.
exported_count() {
    case $1 in
        *.dll) printf '%d\n' "0x$("$objdump" -p "$1" | awk '/^\tExport Address Table/ && !seen++ { print $NF }')" ;;
        *) exported_names "$1" | wc -l ;;
    esac
}

declared_names() {
    sed -n '/^ZUK_API/p' "$@" | grep -oE '[A-Za-z0-9_]+\(' | tr -d '(' | sort
}

mode=$1 library=$2
case $mode in
    names)
        list=$3
        shift 3
        echo "the list and the header:"
        diff <(sort "$list") <(declared_names "$@")
        echo "the list and the library:"
        diff <(sort "$list") <(exported_names "$library")
        echo "the number of names and of exports:"
        diff <(wc -l <"$list") <(exported_count "$library")
        echo "$(wc -l <"$list") names, all the same"
        ;;
    needs)
        # The dynamic loader is a part of the C library.
        strangers=$(needed_libraries "$library" |
            grep -vxE 'libc\.so\.6|ld-linux[-a-z0-9_.]*\.so\.[0-9]|(kernel32|user32|gdi32|msvcrt|shell32|ole32|advapi32)\.dll' ||
            true)
        if [[ -n $strangers ]]; then
            echo "$library needs ${strangers//$'\n'/ }"
            exit 1
        fi
        needed_libraries "$library"
        ;;
    *) exit 2 ;;
esac
