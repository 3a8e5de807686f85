// Every operation that allocates is run with its first allocation refused, then its second, and so
// on until none is. A refusal comes out as `std::bad_alloc`, or as null or false where that is the
// form, loses nothing, leaves no lock held and everything as it was, so that the operation then
// works. Meanwhile each use of the platform asks for its service anew.

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <sstream>
#include <tuple>

#include "Vorn/Vorn.h"
#include "tests/support/TestPlatform.h"

namespace {

using namespace Vorn;
using namespace Vorn::Check::Private;
using namespace Vorn::PooledObjectDebug;
using Builder = VornIniFile_Private::SectionsBuildingOutputIterator;
using Handle = Vorn::Ptr<int>;
using Logger = LoggingTraitsBase;
using Pair = AttribValuePair;

// An operation as text and as code, and whether it allocates.
using Row = std::tuple<const char*, std::function<void()>, bool>;
#define OP(...) Row({#__VA_ARGS__, [&] { __VA_ARGS__; }, true})
#define FREE(...) Row({#__VA_ARGS__, [&] { __VA_ARGS__; }, false})

// An element that moves by copying, which can fail.
struct Copied {
    Copied() = default;
    Copied(const Copied&) = default;
    Copied& operator=(const Copied&) = default;
    bool operator==(const Copied&) const = default;
    std::string text;
};

// What the operations work on: a bare text, one of its own or one that is shared. Texts are too
// long for the standard strings' own room.
struct Subject {
    explicit Subject(int holders)
        : s(" ab,c\0d ", holders > 0 ? 8 : 0), other(holders > 1 ? s : String()) {
        rep.refCount = 2;
        while (ws.size() < 4)  // The next one makes them grow.
            ws.add(&L"first/name"[ws.size()]), ss.add("field"), ints.add(7);
        copies.add(Copied());
        copies[0].text = "a text that needs a block";
        settings.parse("[Section]\nkey = a value that needs a block\n");
        ini["Section"].emplace_back("key=old", '=').setValue("value");
        files.put(L"output", "old");
        files.put(L"input", "x=1\n[A]\ny=2\n[B]\nz=3\n");
        reg.create("key", &at);
        reg.lock<int>("bare"), reg.unlock<int>("bare");
    }
    std::string state() const {
        const test::Unledgered unledgered;
        std::string all = files.get(L"output") + std::to_string(rep.capacity + ints.size());
        const auto add = [&](const String& text) { (all += '|').append(text, text.size()); };
        for (const String& text :
             {s, other, String(rep.buffer, rep.length), String(w.c_str()), kv.asString('='),
              kv.getAttrib(), kv.getValue(), String(v), reinterpret_cast<const Named&>(lock)->name})
            add(text);
        const Pair apart = fresh;  // So that asking does not take the pair itself apart.
        for (const String& text : {apart.asString('='), apart.getAttrib(), apart.getValue()})
            add(text);
        for (const String& text : ss) add(text);
        for (const WString& text : ws) add(text.c_str());
        for (const Copied& copy : copies) add(copy.text.c_str());
        for (auto i = ini.getSectionIterator(); i.valid(); ++i) {
            add(i.name());
            for (const Pair& entry : *i) add(entry.asString('='));
        }
        add(settings.text().c_str());
        for (const auto* key : reinterpret_cast<const std::list<NamedObjectInfo*>&>(reg))
            add(key->object ? key->objectName : key->typeName);
        return all + std::to_string(rep.refCount);
    }
    std::vector<Row> rows();

    using Named = Vorn::Ptr<CriticalSection::Rep>;
    static inline int line = 0;  // New ones, for messages that were not there before.
    bool adding = false;   // What is added before a refusal stays, and the refusal may be reported.
    std::size_t kept = 1;  // How many blocks are for ever: the pool's place on the list of all.
    unsigned at = 0;
    test::Atomics atomics;
    test::Threads threads;
    test::Folder folder{"/missing/"};
    test::Clock clock{0};
    test::MemoryFiles files;
    String s, other;
    SubString v{String("a view"), 2, 3};
    StringRep rep{"ab,cd", 5};
    Vector<String> ss;
    WString w = L"wide/gr\u00FCn";
    Vector<WString> ws;
    Vector<int> ints;
    Vector<Copied> copies;
    Pair kv{"key=value", '='};
    Pair fresh{"key=value", '='};  // Not taken apart.
    VornIniFile ini{L"input", false, false};
    VornIniFile::Sections built{VornIniFile_Private::StringLT_Fancy{true}};
    Settings settings;
    CriticalSection lock{"lock"};
    NamedObjectsNamespace reg{"space"};
    Handle ptr{new int(1)};
    Logger pool{"pool"};
    std::unique_ptr<Logger> second;
};

// Runs the row with its n-th allocation refused, then once more undisturbed. False if it has not
// that many. For n = 0 none is refused, and what the row leaves is what it has to leave from then
// on.
bool runRefused(std::size_t row, int holders, std::size_t n) {
    static std::string result;
    SCOPED_TRACE(std::get<0>(Subject(0).rows()[row]));
    test::MemoryLedger ledger;
    auto x = std::make_unique<Subject>(holders);
    const auto [text, operation, allocates] = (test::Unledgered(), x->rows()[row]);
    const auto run = [&run = operation] {
        try {
            run();
        } catch (const Exception::RuntimeError&) {  // Misuse, which rows may be.
        }
    };
    const std::string before = x->state();
    const long keptBefore = test::keptServices();
    ledger.failAt(n);
    try {
        run();
        EXPECT_TRUE(ledger.refusals() == 0 || x->adding);
    } catch (const std::bad_alloc&) {
        EXPECT_TRUE(x->state() == before || x->adding) << "left " << x->state();
    }
    EXPECT_EQ(test::Threads::held, 0);
    EXPECT_EQ(test::keptServices(), keptBefore) << "each use asks for its service";
    ledger.failAt(0);
    if (ledger.refusals() > 0) run();
    if (n == 0) result = x->state();
    EXPECT_TRUE(x->state() == result || x->adding) << "then " << x->state();
    const std::size_t kept = x->kept;
    x.reset();
    EXPECT_EQ(ledger.live(), kept);
    EXPECT_TRUE(n != 1 || holders < 2 || ledger.refusals() == allocates);
    return n == 0 || ledger.refusals() > 0;
}

std::vector<Row> table(auto... rows) {
    return {rows...};
}

std::vector<Row> Subject::rows() {
    const auto use = [](const auto&...) {};
    const Subject& c = *this;
    return table(
        OP(s = "text"), OP(s = String("text", 2)), OP(s = String('c')), OP(s = String('c', 3)),
        OP(s = String(s, 2)), OP(s = String(s(1, 2))), OP(s = String(-7)), OP(s = String(1.5)),
        OP(s = L"wide"), OP(s = 'c'), OP(s[9] = 'c'), OP(s[1] = s[9]), OP(s += s), OP(s += "abc"),
        OP(s += 'c'), OP(s += -7), OP(s += 1.5), OP(s = s + s), OP(s = s + "ab"), OP(s = "ab" + s),
        OP(s = s.substitute("b", "long")), OP(s.split(',', ss, SplitNoEmpties | SplitQuoted)),
        OP(String("one,two,three,four").split(',', ss, 0)), OP(s.replace("xyz", 3, 0, 9)),
        OP(s.replaceAll("xyz", 3)), OP(s.insert("xyz", 3, 1, 2)), OP(s.remove(1, 2)),
        OP(s.toUpper()), OP(s.substitute('a', 'b')), OP(s.toLower()), OP(s.rotateLeft(2)),
        OP(s.stripLeadingSpaces()), OP(s.stripTrailingSpaces()),
        OP(std::istringstream in("words"); adding = true; s.readFrom(in)), OP(v = SubString(s)),
        OP(v = s), OP(v = SubString(s, 1, 3)), OP(StringRep("text", 4)),
        OP(rep = "some longer text"), OP(rep = 'c'), OP(rep.append("xyz")), OP(rep.append('c')),
        OP(rep.expandTo(20)), OP(rep.resizeFor(20)), OP(rep.replace("xyz", 3, 0, 4)),
        OP(rep.insert(rep.buffer, 2, 0, 1)), OP(rep.substitute("a", "xyz")),
        OP(rep.buffer = rep.realloc(rep.buffer, 9)), OP(delete rep.unshare()), OP(ss.add(s)),
        OP(ss.insert(s, 1)), OP(ss.intern("new", at)), OP(ss = Vector<String>(ss)),
        OP(ss.resizeFor(9)), OP(ws.remove(0, 1)), OP(ws.add(w)), OP(ws.push_back(w)),
        OP(ws.insert(w, 1)), OP(ws.intern(w, at)), OP(ws = Vector<WString>(ws)),
        OP(ws.resizeFor(9)), OP(ints.add(1)), OP(ints.insert(1, 1)), OP(ints = Vector<int>(ints)),
        OP(copies.resizeFor(9)), OP(w = WStringFromUTF8("some text")),
        OP(w = WStringFromAscii("some text")), OP(s = UTF8FromWString(w).c_str()),
        OP(w = WStringFromInteger(123456)), OP(w = WStringFromFloat(1.5, '\5', false)),
        OP(w = toUpper(std::as_const(w))), OP(w = toLower(std::as_const(w))),
        OP(w = substitute(w, L"e", L"longer")), OP(w = substitute(w, L'e', L'i')),
        OP(w = substituteCaseInsensitive(w, L"E", L"some")), OP(split(w, L'/', ws, 0)),
        OP(split(L"the first/the second/the third", L'/', ws, 0)), OP(w = pack(ws, L'/')),
        OP(w = splitFilename(w)), OP(w = PathsLite::getSystemLogsPath()),
        OP(kv = Pair(s, "value", '=')), OP(kv = Pair(w, w, '=')), OP(kv = Pair("some=text", '=')),
        OP(kv.setAttrib("name")), OP(kv.setValue("text")), OP(kv.setLine("a=b")),
        OP(fresh.getAttrib()), OP(fresh.getValue()), OP(fresh.setAttrib("name")),
        OP(fresh.setValue("text")), OP(fresh.valid()), OP(use(fresh == Pair("other", '='))),
        OP(Pair p(kv); p.setLine("a=b"); kv = p), OP(w = kv.asWString('=')),
        OP(ini = VornIniFile(L"input", false, true)),
        OP(adding = true; ini = VornIniFile(L"input", true, true)), OP(ini = VornIniFile(ini)),
        OP(ini.save(L"output")), OP(adding = true; ini.load(L"input", '\n')), OP(ini["New"]),
        OP(ini.getSection("New")), OP(Builder{&built} = " some = text "),
        OP(Builder{&built} = "[New]"), OP(StringManip::splitBuffer(Builder(&built), "a,b", 3, ',')),
        OP(settings.load(L"input")), OP(settings.save(L"output")),
        OP(settings = Settings(settings)), OP(settings.parse("k=1")),
        OP(settings.set("Section", "key", 1)), OP(settings.set("Section", "new", w)),
        OP(settings.set("New", "key", std::vector{1, 2})), OP(settings.erase("Section", "key")),
        OP(settings.eraseSection("Section")),
        OP(use(c.settings.sections(), c.settings.entries("Section"))),
        OP(use(c.settings.get("Section", "key", L""))), OP(CriticalSection{}),
        OP(CriticalSection("name")), OP(CriticalSection(1u)), OP(lock.init(1)),
        OP(lock.setName("name")),
        OP(auto i = std::make_unique<int>(); ptr = Handle(i.get()), i.release()),
        OP(kept = 3; throwShort("f", ++line, 1)), OP(kept = 3; throwDetailed("f", ++line, "e", 1)),
        OP(NamedObjectInfo("type", "name", nullptr)), OP(NamedObjectsNamespace("other")),
        OP(reg.create("new", &at)), OP(reg.createOrReplace("new", &at)),
        OP(reg.findOrCreate<int>("new",
                                 []() -> void* { throw Exception::RuntimeError("", "", 0); })),
        OP(std::unique_ptr<int>(reg.findOrCreate<int>("new"))),
        OP(std::unique_ptr<int>(reg.findOrCreate<int>("bare"))),
        OP(reg.lock<int>("new"), reg.unlock<int>("new")),
        OP(reg.addListEntry_(typeid(int), "new", nullptr)),
        OP(kept = 2; second = std::make_unique<Logger>("new")), OP(pool.dump()),
        OP(LoggingTraitsBase_exit()),
        OP(void* p = ::operator new(9, std::nothrow); adding = !p; ::operator delete(p)),
        OP(CPUAlignedDelete(CPUAlignedNew(9))),
        OP(StdAllocator<int> a; a.deallocate(a.allocate(9), 9)),
        OP(s = posix::textServices->utf8FromWide(L"text of some length").c_str()),
        OP(w = posix::pathServices->getFolderPath(4)),
        FREE(use(s = nullptr, s = other, String("", 0), s.textAt(0), s[0], c.s[0], s.isEmpty(),
                 s.substitute("none", ""), s.asDouble(), s.compare(other), s == c.s, s < c.s,
                 s < "ab", s.startsWith("AB", false), s.index("b", 0), s.rindex('b'),
                 s.nthIndex(1, ','), s.tokSpan(',', 0, at, at), s.compareCaseInsensitive("AB"),
                 s = std::move(other), v == SubString(c.v), v = c.v)),
        FREE(v.purge(); use(rep.index("b", 0), StringRep::sizeFor(9)); rep.toUpper()),
        FREE(ws.remove(1, 4)), FREE(rep.remove(1, 2), rep.rotateLeft(2), rep.purge()),
        FREE(use(ss.locate(c.ss[0], at), ss.removeIdx(1), ss.remove(1, 2), ws.removeItem(c.ws[0]),
                 IntFromWString(w, 7), FloatFromWString(w, 7), toUpper(w),
                 startsWith(w, L"WIDE", false), compareCaseInsensitive(w, w),
                 stripLeadingChars(w, L'w'))),
        FREE(use(Pair(c.s, '='), kv == c.kv, kv = c.kv, ini.sectionExists(s), c.ini[s],
                 ini.getSectionIterator().name(), ini.getNumSections())),
        FREE(use(c.settings.find("section", "KEY"), c.settings.get("Section", "key", 1.5),
                 settings = std::move(settings), settings.erase("Section", "none"))),
        FREE(use(EasyCrit(lock), lock.attemptEntry(), Handle(ptr) = ptr); lock.leave()),
        FREE(use(lookupPlayoutFCC(1235), now(), CRC::CalculateCRC32ForBlock("text", 4),
                 checkAndLog(-1, "f", 1, "e", true, 1.0, 2.0), CPUInfo::getNumProcessors());
             throwShort("f", 0, 1)),
        FREE(use(reg.find<int>("none"), reg.find<unsigned>("key"), reg.lock<int>("bare", false),
                 reg.findOrCreate<unsigned>("key"));
             reg.unlock<int>("bare"), reg.create("bare", &line)),
        FREE(reg.remove<unsigned>("key")),
        FREE(pool.ltb_afterPush(nullptr, 0), pool.ltb_afterPop(nullptr, 0)));
}

TEST(AllocationSweep, RefusalsLoseNothing) {
    VornIniFile::kAnonymousSection();  // Stays for ever, as what the first subject makes, and this.
    EXPECT_THROW(throwShort("f", 0, 1), Exception::RuntimeError);
    const std::size_t count = Subject(0).rows().size();
    for (std::size_t row = 0; row < count; ++row)
        for (const int holders : {0, 1, 2})
            for (std::size_t n = 0; runRefused(row, holders, n);) ++n;
}

}  // namespace
