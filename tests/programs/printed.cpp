// Values for a debugger to print, once `ready` is called.

#include <cstring>

#include "Vorn/Vorn.h"

namespace {

struct Values {
    String text{"two\nlines"}, blank;
    SubString view{text, 4, 5};
    WString wide{L"gr\u00fcn"};
    Vector<String> list;
    Vorn::Ptr<String> held{new String("shared")}, other{held}, none;
    CriticalSection lock{"guard"};
    VornIniFile settings{false};
    char released[sizeof(String)], wild[sizeof(String)]{1};
};

[[gnu::noinline]] void ready(const Values& values) {
    asm volatile("" : : "r"(&values) : "memory");
}

}  // namespace

int main() {
    Values values;
    values.list.add("one"), values.list.add(values.text);
    values.settings["Video"].emplace_back("Width=1920", '=');
    values.settings["Video"].emplace_back("; kept", '=');
    values.settings["Video"].front().setValue("3840");
    values.settings["Audio"];
    {
        const String gone("gone");
        std::memcpy(values.released, static_cast<const void*>(&gone), sizeof(gone));
    }
    const EasyCrit once(values.lock), twice(values.lock);
    ready(values);
}
