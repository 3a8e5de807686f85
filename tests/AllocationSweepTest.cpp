// Every operation that allocates is run with its first allocation refused, then its second, and so
// on until none is. A refusal comes out as `std::bad_alloc`, or as null or false where that is the
// form, loses nothing, leaves no lock held and everything as it was, so that the operation then
// works.

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <new>
#include <sstream>
#include <string>

#include "Vorn/Vorn.h"
#include "tests/support/TestPlatform.h"

namespace {

using namespace Vorn;
using namespace Vorn::Check::Private;
using namespace Vorn::PooledObjectDebug;
using Builder = VornIniFile_Private::SectionsBuildingOutputIterator;
using Order = VornIniFile_Private::StringLT_Fancy;
using Sections = VornIniFile::Sections;
using Handle = Vorn::Ptr<int>;
using Logger = LoggingTraitsBase;
using Pair = AttribValuePair;

// Locks that know how many entries are held, and no logs folder.
struct Platform : iThreadServices, iPathServices {
    struct Lock : posix::Counted<iCriticalSection> {
        void enter() override { lock->enter(), ++held; }
        bool tryEnter() override { return lock->tryEnter() && ++held; }
        void leave() override { --held, lock->leave(); }
        Vorn::Ptr<iCriticalSection> lock = posix::threadServices->createCriticalSection(0);
    };
    Vorn::Ptr<iCriticalSection> createCriticalSection(unsigned) override {
        return (new Lock)->handOver();
    }
    unsigned currentThreadId() override { return posix::threadServices->currentThreadId(); }
    WString getFolderPath(int) override { return L"/missing/"; }

    static inline std::atomic<int> held = 0;
    test::Override<iThreadServices> threads{this};
    test::Override<iPathServices> paths{this};
};

// An operation as text and as code.
using Row = std::pair<const char*, std::function<void()>>;
#define ROW(...) Row(#__VA_ARGS__, [&] { __VA_ARGS__; })

// What the operations work on: a bare text, one of its own or one that is shared. Texts are too
// long for the standard strings' own room.
struct Subject {
    explicit Subject(int holders)
        : s(" ab,c\0d ", holders > 0 ? 8 : 0), other(holders > 1 ? s : String()) {
        rep.refCount = 2;
        while (names.size() < 4)  // The next one makes them grow.
            names.add(L"first/name"), fields.add("field"), numbers.add(7);
        file["Section"].emplace_back("key=value", '=');
        files.put(L"output", "old");
        files.put(L"input", "x=1\n[A]\ny=2\n[B]\nz=3\n");
        space.create("key", &at);
        space.lock<int>("bare"), space.unlock<int>("bare");
    }
    std::string state() const {
        const test::Unledgered unledgered;
        std::string all = files.get(L"output") + std::to_string(rep.capacity + numbers.size());
        const auto add = [&](const String& text) { (all += '|').append(text, text.size()); };
        for (const String& text : {s, other, String(rep.buffer, rep.length), String(w.c_str()),
                                   pair.asString('='), pair.getAttrib(), pair.getValue(),
                                   String(view), reinterpret_cast<const Named&>(lock)->name})
            add(text);
        for (const String& text : fields) add(text);
        for (const WString& text : names) add(text.c_str());
        for (auto i = file.getSectionIterator(); i.valid(); ++i) {
            add(i.name());
            for (const Pair& entry : *i) add(entry.asString('='));
        }
        for (const auto* key : reinterpret_cast<const std::list<NamedObjectInfo*>&>(space))
            add(key->object ? key->objectName : key->typeName);
        return all + std::to_string(rep.refCount);
    }
    static void* failToMake() { throw Exception::RuntimeError("", "", 0); }
    std::vector<Row> rows();
    void allocateNothing(const Subject& same);

    using Named = Vorn::Ptr<CriticalSection::Rep>;
    static inline int line = 0;  // New ones, for messages that were not there before.
    bool adding = false;   // What is added before a refusal stays, and the refusal may be reported.
    std::size_t kept = 1;  // How many blocks are for ever: the pool's place on the list of all.
    unsigned at = 0;
    Platform platform;
    test::MemoryFiles files;
    String s, other;
    SubString view{String("a view"), 2};
    StringRep rep{"ab,cd", 5};
    Vector<String> fields;
    WString w = L"wide/text";
    Vector<WString> names;
    Vector<int> numbers;
    Pair pair{"key=value", '='};
    VornIniFile file{L"input", false, false};
    CriticalSection lock{"lock"};
    NamedObjectsNamespace space{"space"};
    Handle handle{new int(1)};
    Logger pool{"pool"};
    std::unique_ptr<Logger> second;
};

// Runs the row with its n-th allocation refused, then once more undisturbed. False if it has not
// that many. For n = 0 none is refused, and what the row leaves is what it has to leave from then
// on.
bool runRefused(std::size_t row, int holders, std::size_t n) {
    static std::string result;
    test::MemoryLedger ledger;
    auto x = std::make_unique<Subject>(holders);
    const auto operation = (test::Unledgered(), x->rows()[row].second);
    const auto run = [&] {
        try {
            operation();
        } catch (const Exception::RuntimeError&) {  // Misuse, which rows may be.
        }
    };
    const std::string before = x->state();
    ledger.failAt(n);
    try {
        run();
        EXPECT_TRUE(ledger.refusals() == 0 || x->adding);
    } catch (const std::bad_alloc&) {
        EXPECT_TRUE(x->state() == before || x->adding) << "left " << x->state();
    }
    EXPECT_EQ(Platform::held, 0);
    ledger.failAt(0);
    if (ledger.refusals() > 0) run();
    if (n == 0) result = x->state();
    EXPECT_TRUE(x->state() == result || x->adding) << "then " << x->state();
    const std::size_t kept = x->kept;
    x.reset();
    EXPECT_EQ(ledger.live(), kept);
    EXPECT_TRUE(n != 1 || holders < 2 || ledger.refusals() > 0) << "allocates nothing";
    return n == 0 || ledger.refusals() > 0;
}

std::vector<Row> table(auto... rows) {
    return {rows...};
}

std::vector<Row> Subject::rows() {
    return table(
        ROW(s = "text"), ROW(s = String("text", 2)), ROW(s = String('c')), ROW(s = String('c', 3)),
        ROW(s = String(s, 2)), ROW(s = String(s(1, 2))), ROW(s = String(-7)), ROW(s = String(1.5)),
        ROW(s = L"wide"), ROW(s = 'c'), ROW(s[9] = 'c'), ROW(s[1] = s[9]), ROW(s += s),
        ROW(s += "abc"), ROW(s += 'c'), ROW(s += -7), ROW(s += 1.5), ROW(s = s + s),
        ROW(s = s + "ab"), ROW(s = "ab" + s), ROW(s = s.substitute("b", "long")),
        ROW(s.split(',', fields, SplitNoEmpties | SplitQuoted)), ROW(s.replace("xyz", 3, 0, 9)),
        ROW(s.replaceAll("xyz", 3)), ROW(s.insert("xyz", 3, 1, 2)), ROW(s.remove(1, 2)),
        ROW(s.toUpper()), ROW(s.substitute('a', 'b')), ROW(s.toLower()), ROW(s.rotateLeft(2)),
        ROW(s.stripLeadingSpaces()), ROW(s.stripTrailingSpaces()),
        ROW(std::istringstream in("words"); adding = true; s.readFrom(in)),
        ROW(view = SubString(s)), ROW(view = s), ROW(view = SubString(s, 1, 3)),
        ROW(StringRep("text", 4)), ROW(rep = "some longer text"), ROW(rep = 'c'),
        ROW(rep.append("xyz")), ROW(rep.append('c')), ROW(rep.expandTo(20)), ROW(rep.resizeFor(20)),
        ROW(rep.replace("xyz", 3, 0, 4)), ROW(rep.insert(rep.buffer, 2, 0, 1)),
        ROW(rep.substitute("a", "xyz")), ROW(rep.buffer = rep.realloc(rep.buffer, 9)),
        ROW(delete rep.unshare()), ROW(fields.add(s)), ROW(fields.insert(s, 1)),
        ROW(fields.intern("new", at)), ROW(fields = Vector<String>(fields)),
        ROW(fields.resizeFor(9)), ROW(names.add(w)), ROW(names.push_back(w)),
        ROW(names.insert(w, 1)), ROW(names.intern(w, at)), ROW(names = Vector<WString>(names)),
        ROW(names.resizeFor(9)), ROW(numbers.add(1)), ROW(numbers.insert(1, 1)),
        ROW(numbers = Vector<int>(numbers)), ROW(w = WStringFromUTF8("some text")),
        ROW(w = WStringFromAscii("some text")), ROW(s = UTF8FromWString(w).c_str()),
        ROW(w = WStringFromInteger(123456)), ROW(w = WStringFromFloat(1.5, '\5', false)),
        ROW(w = toUpper(std::as_const(w))), ROW(w = toLower(std::as_const(w))),
        ROW(w = substitute(w, L"e", L"longer")), ROW(w = substitute(w, L'e', L'i')),
        ROW(w = substituteCaseInsensitive(w, L"E", L"some")), ROW(split(w, L'/', names, 0)),
        ROW(w = pack(names, L'/')), ROW(w = splitFilename(w)),
        ROW(w = PathsLite::getSystemLogsPath()), ROW(pair = Pair(s, "value", '=')),
        ROW(pair = Pair(w, w, '=')), ROW(pair = Pair("some=text", '=')),
        ROW(pair.setAttrib("name")), ROW(pair.setValue("text")), ROW(pair.setLine("a=b")),
        ROW(Pair p(pair); p.setLine("a=b"); pair = p), ROW(w = pair.asWString('=')),
        ROW(file = VornIniFile(L"input", false, true)),
        ROW(adding = true; file = VornIniFile(L"input", true, true)), ROW(file = VornIniFile(file)),
        ROW(file.save(L"output")), ROW(adding = true; file.load(L"input", '\n')), ROW(file["New"]),
        ROW(file.getSection("New")),
        ROW(Sections all(Order{true}); Builder{&all} = " some = text "),
        ROW(Sections all(Order{true}); Builder{&all} = "[New]"),
        ROW(Sections all(Order{true}); StringManip::splitBuffer(Builder(&all), "a,b", 3, ',')),
        ROW(CriticalSection{}), ROW(CriticalSection("name")), ROW(CriticalSection(1u)),
        ROW(lock.init(1)), ROW(lock.setName("name")),
        ROW(auto i = std::make_unique<int>(); handle = Handle(i.get()), i.release()),
        ROW(kept = 3; throwShort("f", ++line, 1)),
        ROW(kept = 3; throwDetailed("f", ++line, "e", 1)),
        ROW(NamedObjectInfo("type", "name", nullptr)), ROW(NamedObjectsNamespace("other")),
        ROW(space.create("new", &at)), ROW(space.createOrReplace("new", &at)),
        ROW(space.findOrCreate<int>("new", failToMake)),
        ROW(std::unique_ptr<int>(space.findOrCreate<int>("new"))),
        ROW(std::unique_ptr<int>(space.findOrCreate<int>("bare"))),
        ROW(space.lock<int>("new"), space.unlock<int>("new")),
        ROW(space.addListEntry_(typeid(int), "new", nullptr)),
        ROW(kept = 2; second = std::make_unique<Logger>("new")), ROW(pool.dump()),
        ROW(LoggingTraitsBase_exit()),
        ROW(void* p = ::operator new(9, std::nothrow); adding = !p; ::operator delete(p)),
        ROW(CPUAlignedDelete(CPUAlignedNew(9))),
        ROW(StdAllocator<int> a; a.deallocate(a.allocate(9), 9)),
        ROW(s = OS()->textServices()->utf8FromWide(L"text of some length").c_str()),
        ROW(w = posix::pathServices->getFolderPath(4)));
}

TEST(AllocationSweep, RefusalsLoseNothing) {
    VornIniFile::kAnonymousSection();  // Stays for ever, as what the first subject makes.
    const auto rows = Subject(0).rows();
    for (std::size_t row = 0; row < rows.size(); ++row) {
        SCOPED_TRACE(rows[row].first);
        for (const int holders : {0, 1, 2})
            for (std::size_t n = 0; runRefused(row, holders, n);) ++n;
    }
}

void Subject::allocateNothing(const Subject& same) {
    const auto use = [](const auto&...) {};
    use(s = nullptr, s = other, String("", 0), s.textAt(0), s[0], same.s[0], s.isEmpty(),
        s.substitute("none", ""), s.asDouble(), s.compare(other), s == same.s, s < same.s, s < "ab",
        s.startsWith("AB", false), s.index("b", 0), s.rindex('b'), s.nthIndex(1, ','),
        s.tokSpan(',', 0, at, at), s.compareCaseInsensitive("AB"), s = std::move(other),
        view == SubString(same.view), view = same.view, rep.index("b", 0), StringRep::sizeFor(9));
    view.purge(), rep.toUpper(), rep.remove(1, 2), rep.rotateLeft(2), rep.purge();
    use(fields.locate(same.fields[0], at), fields.removeIdx(1), fields.remove(1, 2),
        names.removeItem(same.names[0]), IntFromWString(w, 7), FloatFromWString(w, 7), toUpper(w),
        startsWith(w, L"WIDE", false), compareCaseInsensitive(w, w), stripLeadingChars(w, L'w'),
        Pair(same.s, '='), pair == same.pair, pair = same.pair, file.sectionExists(s), same.file[s],
        file.getSectionIterator().name(), file.getNumSections());
    use(EasyCrit(lock), lock.attemptEntry(), Handle(handle) = handle, lookupPlayoutFCC(1235), now(),
        CRC::CalculateCRC32ForBlock("text", 4), checkAndLog(-1, "f", 1, "e", true, 1.0, 2.0));
    EXPECT_THROW(throwShort("f", 1, 1), Exception::RuntimeError);
    use(space.find<int>("none"), space.find<unsigned>("key"), space.lock<int>("bare", false),
        space.findOrCreate<unsigned>("key"), CPUInfo::getNumProcessors());
    space.unlock<int>("bare"), space.create("bare", &line), space.remove<unsigned>("key");
    lock.leave(), pool.ltb_afterPush(nullptr, 0), pool.ltb_afterPop(nullptr, 0);
}

TEST(AllocationSweep, TheRestAllocatesNothing) {
    const test::Clock clock(0);
    Subject(0).allocateNothing(Subject(0));  // Makes what is made once and stays.
    Subject x(2), same(2);
    const test::MemoryLedger ledger;
    x.allocateNothing(same);
    EXPECT_EQ(ledger.sizes().size(), 0u);
}

}  // namespace
