#!/usr/bin/env bash
# Tavrin.exe is one file that runs on a bare Windows: a GUI-subsystem program that imports
# only system DLLs, none of Qt's or the compiler's.
#   check_windows_program.sh <objdump> <Tavrin.exe>
set -euo pipefail
objdump=$1
program=$2

headers=$("$objdump" -p "$program")
grep -q "Subsystem.*(Windows GUI)" <<<"$headers" || {
    echo "FAIL: $program is not a Windows GUI program"
    exit 1
}
mapfile -t dlls < <(awk '/DLL Name:/ { print $3 }' <<<"$headers" | sort -u)
((${#dlls[@]} > 0)) || { echo "FAIL: no imports read from $program"; exit 1; }
status=0
for dll in "${dlls[@]}"; do
    case "${dll,,}" in
        qt*.dll | libgcc*.dll | libstdc++*.dll | libwinpthread*.dll | zlib*.dll | libpng*.dll)
            echo "FAIL: $program needs $dll beside it"
            status=1
            ;;
    esac
done
size=$(stat -c %s "$program")
echo "$program: $((size / 1024 / 1024)) MiB, imports ${#dlls[@]} system DLLs: ${dlls[*]}"
exit $status
