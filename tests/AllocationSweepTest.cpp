// Operations that allocate are run with their first allocation refused, then their second, and so
// on until none is. A refusal comes out as `std::bad_alloc`, or as false from `load`, loses nothing
// and leaves everything as it was, so that the operation then works.

#include <gtest/gtest.h>

#include <memory>
#include <new>
#include <string>

#include "Vorn/Vorn.h"
#include "tests/support/TestPlatform.h"

namespace {

using Vorn::AttribValuePair;

// What the operations work on: a bare text, one of its own or one that is shared. Texts are too
// long for the standard strings' own room.
struct Subject {
    explicit Subject(int holders)
        : s(" ab,c\0d ", holders > 0 ? 8 : 0), other(holders > 1 ? s : String()) {
        rep.refCount = 2;
        while (names.size() < 4) names.add(L"first/name");  // The next one makes it grow.
        file["Section"].emplace_back("key=value", '=');
        files.put(L"output", "old");
        files.put(L"input", "x=1\n[A]\ny=2\n[B]\nz=3\n");
    }
    std::string state() const {
        const test::Unledgered unledgered;
        std::string all = files.get(L"output") + std::to_string(rep.capacity);
        const auto add = [&](const String& text) { (all += '|').append(text, text.size()); };
        for (const String& text : {s, other, String(rep.buffer, rep.length), String(w.c_str()),
                                   pair.asString('='), pair.getAttrib(), pair.getValue()})
            add(text);
        for (const String& text : fields) add(text);
        for (const WString& text : names) add(text.c_str());
        for (auto walk = file.getSectionIterator(); walk.valid(); ++walk) {
            add(walk.name());
            for (const AttribValuePair& entry : *walk) add(entry.asString('='));
        }
        return all + std::to_string(rep.refCount);
    }

    bool adding = false;  // What is added before a refusal stays, and the refusal may be reported.
    String s, other;
    StringRep rep{"ab,cd", 5};
    Vector<String> fields;
    WString w = L"wide/text";
    Vector<WString> names;
    AttribValuePair pair{"key=value", '='};
    VornIniFile file{L"input", false, false};
    test::MemoryFiles files;
};

// An operation as text and as code.
using Row = std::pair<const char*, void (*)(Subject& x)>;

#define ROW(...) Row(#__VA_ARGS__, [](Subject& x) { __VA_ARGS__; })

// Runs the row with its n-th allocation refused, then once more undisturbed. False if it has not
// that many. For n = 0 none is refused, and what the row leaves is what it has to leave from then
// on.
bool runRefused(const Row& row, int holders, std::size_t n) {
    SCOPED_TRACE(row.first);
    static std::string result;
    test::MemoryLedger ledger;
    auto x = std::make_unique<Subject>(holders);
    const std::string before = x->state();
    ledger.failAt(n);
    try {
        row.second(*x);
        EXPECT_TRUE(ledger.refusals() == 0 || x->adding);
    } catch (const std::bad_alloc&) {
        EXPECT_TRUE(x->state() == before || x->adding) << "left " << x->state();
    }
    if (ledger.refusals() > 0) row.second(*x);
    if (n == 0) result = x->state();
    EXPECT_TRUE(x->state() == result || x->adding) << "then " << x->state();
    x.reset();
    EXPECT_EQ(ledger.live(), 0u);
    return n == 0 || ledger.refusals() > 0;
}

template <class... Rows>
void sweep(Rows... rows) {
    VornIniFile::kAnonymousSection();  // Stays for ever.
    for (const int holders : {0, 1, 2})
        for (const Row& row : {rows...})
            for (std::size_t n = 0; runRefused(row, holders, n);) ++n;
}

TEST(AllocationSweep, RefusalsLoseNothing) {
    sweep(ROW(x.s = String(x.s, 2)), ROW(x.s = x.s.substitute("b", "long")), ROW(x.s = x.s + "abc"),
          ROW(x.s.split(',', x.fields, SplitNoEmpties | SplitQuoted)), ROW(x.s += x.s),
          ROW(x.s.replace("xyz", 3, 0, 9)), ROW(x.s.replaceAll("xyz", 3)), ROW(x.s.toUpper()),
          ROW(x.s.stripLeadingSpaces()), ROW(x.s[9] = 'c'), ROW(x.s = String(x.s(1, 2))),
          ROW(x.rep = "some longer text"), ROW(x.rep.append("xyz")), ROW(delete x.rep.unshare()),
          ROW(x.rep.insert(x.rep.buffer, 2, 0, 1)), ROW(x.rep.substitute("a", "xyz")),
          ROW(x.fields.add(x.s)), ROW(x.names.push_back(x.names[0])), ROW(x.names.resizeFor(50)),
          ROW(unsigned at; x.names.intern(L"second/name", at)), ROW(x.s.rotateLeft(2)),
          ROW(x.names = Vector<WString>(x.names)), ROW(x.w = Vorn::WStringFromUTF8("some text")),
          ROW(x.s = Vorn::UTF8FromWString(x.w).c_str()), ROW(Vorn::split(x.w, L'/', x.names, 0)),
          ROW(x.w = Vorn::substitute(x.w, L"e", L"longer")), ROW(x.w = Vorn::pack(x.names, L'/')),
          ROW(x.pair = AttribValuePair(x.s, "value", '=')), ROW(x.pair.setLine("a=b")),
          ROW(x.file.save(L"output")), ROW(x.file["New"]), ROW(x.file = VornIniFile(x.file)),
          ROW(CriticalSection(x.s).enter()), ROW(x.adding = true; x.file.load(L"input", '\n')),
          ROW(auto owned = std::make_unique<String>(x.s); Vorn::Ptr<String> p(owned.get());
              static_cast<void>(owned.release())));
}

}  // namespace
