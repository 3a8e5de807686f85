#!/bin/sh
# gdb_printers.sh PRINTERS TESTS: what gdb shows of the values that the allocation sweep works on.
set -eu
export LC_ALL=C.UTF-8
gdb -nx -batch -ex run /bin/true 2>&1 | grep -q 'exited normally' || exit 77
found=$(gdb -nx -batch -ex "source $1" -ex 'break Subject::state' -ex run -ex 'call lock.enter()' \
    -ex 'call lock.enter()' -ex 'print lock' -ex 'print s' -ex 'print v' -ex 'print w' \
    -ex 'set var ss.count = 2' -ex 'print ss' -ex 'print kv' -ex 'print ini' \
    -ex 'set var **(int**)&ptr = 2' -ex 'print ptr' -ex 'set var ((long*)&ptr)[1] = 0' \
    -ex 'print ptr' -ex "set var rep.buffer[2] = '\\n'" -ex 'set var *(void**)&s = &rep' \
    -ex 'print s' -ex 'set var rep.refCount = 0' -ex 'print s' -ex 'set var *(long*)&s = 1' \
    -ex 'print s' --args "$2" --gtest_filter='AllocationSweep*' 2>&1 |
    sed -n -e 's/object = 0x.*}/object = 0x...}/' -e 's/^\$[0-9]* = //p')
expected='CriticalSection = {name = "lock", owner = 1, depth = 2}
""
"vie"
L"wide/grün"
Vector of length 2, capacity 4 = {"field", "field"}
"key=value"
VornIniFile with 1 sections = {["Section"] = std::vector of length 1, capacity 1 = {"key=value"}}
Vorn::Ptr<int> (count 2) = {object = 0x...}
Vorn::Ptr<int> (null)
"ab\ncd"
<error: released text>
<error: Cannot access memory at address 0x1>'
[ "$found" = "$expected" ] || { printf '%s\n' "expected:" "$expected" "found:" "$found"; exit 1; }
