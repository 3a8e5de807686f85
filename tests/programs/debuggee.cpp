// Values of all types, and damaged ones, to be looked at from `stop`.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "Vorn/Vorn.h"

namespace {

struct Clip {
    Clip* next;
    int frames;
};

template <class T>
void pointTo(T& handle, std::uintptr_t address) {
    std::memcpy(static_cast<void*>(&handle), &address, sizeof address);
}

}  // namespace

void stop() {}

int main() {
    const String empty;
    String text("view\n");
    const SubString view = text(1, 2);
    const StringChar byte = text[3];
    const StringRep rep("rep", 3);
    const WString wide(L"gr\u00fcn");
    const UTF8String utf8("gr\u00fcn");
    const Vector<String> fields{"a", "b"};
    const auto number = Vorn::makePtr<int>(5);
    const auto alsoNumber = number;
    const auto clip = Vorn::makePtr<Clip>(Clip{nullptr, 250});
    const Vorn::Ptr<int> none;
    CriticalSection lock("lock");
    const EasyCrit guard(lock);
    const Vorn::AttribValuePair line("key = value", '=');
    Vorn::AttribValuePair changed("key=value", '=');
    changed.setValue("new");
    VornIniFile ini(false);
    ini["V"] = {line, Vorn::AttribValuePair("; comment", '=')};
    ini["A"].push_back(changed);
    const auto section = ini.getSectionIterator();
    auto end = section;
    ++end;
    ++end;
    Vorn::Settings settings, unset;
    settings.parse("first =\n; comment\n[V]\nwidth=720\n[A]\n");
    settings.set("V", "height", 576);
    const Vorn::Exception::RuntimeError failure("message", "file", 7);
    const Vorn::Exception::Base& caught = failure;
    Vorn::NamedObjectsNamespace names("names");
    names.create("clip", clip.get());
    const Vorn::PooledObjectDebug::LoggingTraitsBase pool("pool");
    Vorn::LockFree::Stack<Clip> stack;
    stack.push(clip.get());

    String released, unreadable;
    pointTo(released, reinterpret_cast<std::uintptr_t>(&rep));
    pointTo(unreadable, 1);
    Vector<int> torn;
    const std::uint32_t count = 9;
    std::memcpy(reinterpret_cast<char*>(&torn) + 16, &count, sizeof count);
    Vorn::Ptr<int> dangling;
    pointTo(reinterpret_cast<void**>(&dangling)[1], 1);
    VornIniFile wild(false);
    pointTo(reinterpret_cast<void**>(&wild)[7], 1);
    pointTo(reinterpret_cast<void**>(&wild)[10], 1);
    stop();
    std::_Exit(EXIT_SUCCESS);
}
