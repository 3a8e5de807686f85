#!/bin/sh
# debian.sh: the Debian packages are built, checked, installed, built against and removed. Needs root.
set -eu
cd "$(dirname "$0")/../.."
. tools/setup.sh
install lintian pkg-config gdb
tools/package
work=build/package/consumer
find /usr /etc -xdev \( -name '*vorn*' -o -name '*Vorn*' \) >build/package/before
trap 'dpkg --purge libvorn-dev libvorn12' EXIT
lintian --fail-on error build/package/*.deb
dpkg -i build/package/*.deb

rm -rf $work
cmake -S examples/consumer -B $work
cmake --build $work
$work/consumer $work/starts.ini
g++ -std=c++20 examples/consumer/main.cpp -o $work/by_pkg_config $(pkg-config --cflags --libs vorn)
$work/by_pkg_config $work/starts.ini | grep 'start 2'
[ "$(vorn-ini get $work/starts.ini Consumer Starts)" = 2 ]
gdb -nx -batch -ex 'break main' -ex run -ex 'info pretty-printer' $work/consumer | grep CriticalSection

dpkg --purge libvorn-dev libvorn12
trap - EXIT
find /usr /etc -xdev \( -name '*vorn*' -o -name '*Vorn*' \) |
    diff build/package/before -
echo "The packages hold."
