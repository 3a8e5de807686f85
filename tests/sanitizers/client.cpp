// An application built with a sanitizer that uses the library as it is installed, without any. It
// plays one scenario, by itself without a report; those that are called after a fault commit it.
//
// Usage: CLIENT SCENARIO FOLDER

#include <algorithm>
#include <climits>
#include <cstdio>
#include <iterator>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "Vorn/Vorn.h"

namespace {

using Namespace = Vorn::NamedObjectsNamespace;

int fail(const char* what) {
    std::fprintf(stderr, "%s\n", what);
    return 1;
}

int editsSettings(const std::string& folder) {
    const WString path = Vorn::WStringFromUTF8((folder + "/client.ini").c_str());
    VornIniFile written(true);
    written["Video"].emplace_back(String("Width"), String(1920), '=');
    if (!written.save(path)) return fail("not saved");
    VornIniFile settings(path, true, false);
    const auto width = settings["Video"].begin();
    width->setValue(width->getValue() + "0");
    if (!settings.save(path)) return fail("not saved again");
    const VornIniFile read(path, true, true);
    return read["Video"].front().getValue() == "19200" ? 0 : fail("a change was lost");
}

int usesTexts(const std::string&) {
    Vector<String> fields;
    String("one,two,three").split(',', fields, 0);
    String joined;
    for (unsigned i = 0; i < fields.size(); ++i) joined += fields[i] + ";";
    const WString wide = Vorn::WStringFromUTF8(joined);
    CPUAlignedDelete(CPUAlignedNew(wide.size()));
    return joined == "one;two;three;" ? 0 : fail("a field was lost");
}

int catchesExceptions(const std::string&) {
    try {
        Namespace::getGlobalNamespaceInstance()->create<int>("nothing", nullptr);
    } catch (const Vorn::Exception::Base& failure) {
        return failure.msg() ? 0 : fail("no message");
    }
    return fail("nothing was thrown");
}

// Two threads that count as high as they can under `Guard`.
template <class Guarded>
int countsUnder(Guarded guarded) {
    constexpr int rounds = 10'000;
    int count = 0;
    {
        const auto counting = [&] {
            for (int i = 0; i < rounds; ++i) guarded([&] { ++count; });
        };
        const std::jthread other(counting);
        counting();
    }
    return count == 2 * rounds ? 0 : fail("a count was lost");
}

int countsUnderEasyCrit(const std::string&) {
    CriticalSection section;
    return countsUnder([&](auto step) {
        const EasyCrit guard(section);
        step();
    });
}

int countsUnderNamedLock(const std::string&) {
    auto& names = *Namespace::getGlobalNamespaceInstance();
    return countsUnder([&](auto step) {
        names.lock<int>("count");
        step();
        names.unlock<int>("count");
    });
}

int countsUnderScopedLock(const std::string&) {
    CriticalSection first;
    CriticalSection second;
    return countsUnder([&](auto step) {
        const std::scoped_lock both(first, second);
        step();
    });
}

int countsUnguarded(const std::string&) {
    countsUnder([](auto step) { step(); });
    return 0;
}

// Whoever drops a copy last frees what all have read.
int sharesTexts(const std::string&) {
    for (int round = 0; round < 200; ++round) {
        const String text("shared text of round " + String(round));
        std::vector<std::jthread> readers;
        readers.reserve(4);
        for (int i = 0; i < 4; ++i)
            readers.emplace_back([copy = text] {
                String own = copy;
                own[0] = 'S';
                if (std::string_view(own).size() != std::string_view(copy).size())
                    fail("a text was cut");
            });
    }
    return 0;
}

int sharesHandles(const std::string&) {
    for (int round = 0; round < 200; ++round) {
        Vorn::Ptr<std::string> first(new std::string(100, 'x'));
        std::jthread other([copy = first]() mutable {
            if (copy->size() != 100) fail("the object changed");
            copy = Vorn::Ptr<std::string>();
        });
        if (first->front() != 'x') fail("the object changed");
        first = Vorn::Ptr<std::string>();
    }
    return 0;
}

int readsTextAfterFree(const std::string&) {
    const char* text = nullptr;
    {
        const String owner("a text of some length, on its own");
        text = owner;
    }
    return text[3];
}

int readsWideTextAfterFree(const std::string&) {
    const wchar_t* text = nullptr;
    {
        const WString owner(L"a text of some length, on its own");
        text = owner.c_str();
    }
    return text[3] == L'x';
}

int readsBlockAfterDelete(const std::string&) {
    char* volatile const block = new char[100]();
    delete[] block;
    return block[3];
}

int writesPastText(const std::string&) {
    const String owner("a text of some length, on its own");
    const_cast<char*>(static_cast<const char*>(owner))[100] = 'x';
    return 0;
}

// Many, since a stale word of the stack may look like a pointer to one.
int leaksText(const std::string&) {
    for (int i = 0; i < 16; ++i)
        static_cast<void>(*new String*(new String("a text of some length, on its own")));
    return 0;
}

int overflows(const std::string& folder) {
    volatile int most = INT_MAX;
    return most + static_cast<int>(folder.size()) == 0 ? 1 : 0;
}

struct Scenario {
    const char* name;
    int (*play)(const std::string& folder);
};

constexpr Scenario scenarios[] = {
    {"settings", editsSettings},
    {"texts", usesTexts},
    {"exceptions", catchesExceptions},
    {"easy_crit", countsUnderEasyCrit},
    {"named_lock", countsUnderNamedLock},
    {"scoped_lock", countsUnderScopedLock},
    {"shared_texts", sharesTexts},
    {"shared_handles", sharesHandles},
    {"unguarded_count", countsUnguarded},
    {"text_after_free", readsTextAfterFree},
    {"wide_text_after_free", readsWideTextAfterFree},
    {"block_after_delete", readsBlockAfterDelete},
    {"past_the_text", writesPastText},
    {"leaked_text", leaksText},
    {"overflow", overflows},
};

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) return fail("usage: client SCENARIO FOLDER");
    const std::string_view name = argv[1];
    const auto* const found = std::ranges::find(scenarios, name, &Scenario::name);
    return found == std::end(scenarios) ? fail("no such scenario") : found->play(argv[2]);
}
