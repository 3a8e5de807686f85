#!/bin/sh
# gdb_printers.sh PRINTERS PROGRAM: what gdb shows of a real program's values.
set -eu
export LC_ALL=C.UTF-8
gdb -nx -batch -ex run /bin/true 2>&1 | grep -q 'exited normally' || exit 77
found=$(gdb -nx -batch -ex "source $1" -ex 'break ready' -ex run -ex 'print values.text' \
    -ex 'print values.blank' -ex 'print values.view' -ex 'print values.wide' \
    -ex 'print values.list' -ex 'print values.held' -ex 'print values.none' \
    -ex 'print values.lock' -ex 'print values.settings' \
    -ex 'print *(String*)values.released' -ex 'print *(String*)values.wild' "$2" 2>&1 |
    sed -n -e 's/object = 0x.*}/object = 0x...}/' -e 's/^\$[0-9]* = //p')
expected='"two\nlines"
""
"lines"
L"grün"
Vector of length 2, capacity 4 = {"one", "two\nlines"}
Vorn::Ptr<String> (count 2) = {object = 0x...}
Vorn::Ptr<String> (null)
CriticalSection = {name = "guard", owner = 1, depth = 2}
VornIniFile with 2 sections = {["Audio"] = std::vector of length 0, capacity 0, ["Video"] = std::vector of length 2, capacity 2 = {"Width=3840", "; kept"}}
<error: released text>
<error: Cannot access memory at address 0x1>'
[ "$found" = "$expected" ] || { printf '%s\n' "expected:" "$expected" "found:" "$found"; exit 1; }
