#!/bin/sh
# The doctor imports only system DLLs: imports_test.sh OBJDUMP PROGRAM
set -eu
imports=$("$1" -p "$2" | sed -n 's/.*DLL Name: //p' | tr 'A-Z' 'a-z')
[ -n "$imports" ]
for dll in $imports; do
    case $dll in
    advapi32.dll | kernel32.dll | msvcrt.dll | ole32.dll | oleaut32.dll | version.dll) ;;
    *)
        echo "needs $dll"
        exit 1
        ;;
    esac
done
