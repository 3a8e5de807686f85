// Every operation that allocates is run with its first allocation refused, then its second, and so
// on until none is. A refusal comes out as `std::bad_alloc`, or as null or false where that is the
// form, loses nothing, leaves no lock held and everything as it was, so that the operation then
// works. Meanwhile each use of the platform asks for its service anew.

#include <gtest/gtest.h>

#include <functional>
#include <list>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "Vorn/Vorn.h"
#include "tests/support/TestPlatform.h"

namespace {

using namespace Vorn;
using namespace Vorn::Check::Private;
using Builder = VornIniFile_Private::SectionsBuildingOutputIterator;
using Handle = Vorn::Ptr<int>;
using Pair = AttribValuePair;
using Pool = PooledObjectDebug::LoggingTraitsBase;

struct Operation {
    // It works in steps: those before a refusal stay, and it need not report the refusal.
    Operation inSteps() const { return {code, run, allocates, true, blocksKept}; }
    // So many of its blocks stay for ever.
    Operation keeping(std::size_t blocks) const { return {code, run, allocates, false, blocks}; }

    const char* code;
    std::function<void()> run;
    bool allocates;
    bool worksInSteps = false;
    std::size_t blocksKept = 0;
};

#define ALLOCATES(...) Operation({#__VA_ARGS__, [&] { static_cast<void>(__VA_ARGS__); }, true})
#define NEEDS_NO_MEMORY(...) \
    Operation({#__VA_ARGS__, [&] { static_cast<void>(__VA_ARGS__); }, false})

// An element that moves by copying, which can fail.
struct Copied {
    Copied() = default;
    Copied(const Copied&) = default;
    Copied& operator=(const Copied&) = default;
    bool operator==(const Copied&) const = default;
    std::string text;
};

// What the operations work on. `holders` of its text: none for a bare one, or others share it.
// Texts are too long for the standard strings' own room; vectors grow by the next element.
struct Subject {
    explicit Subject(int holders)
        : text(" ab,c\0d ", holders > 0 ? 8 : 0), sharer(holders > 1 ? text : String()) {
        rep.refCount = 2;
        while (wideTexts.size() < 4) {
            wideTexts.add(&L"first/name"[wideTexts.size()]);
            texts.add("field");
        }
        copies.add(Copied());
        copies[0].text = "a text that needs a block";
        settings.parse("[Section]\nkey = a value that needs a block");
        ini["Section"].emplace_back("key=old", '=').setValue("value");
        files.put(L"output", "old");
        files.put(L"input", "x=1\n[A]\ny=2\n[B]\nz=3\n");
        registry.create("key", &position);
        lockAndUnlock("bare");
    }

    // Everything that may not change by an operation that fails.
    std::string state() const;

    std::vector<Operation> operations();

    void readWords() {
        std::istringstream in("words");
        text.readFrom(in);
    }
    void lockAndUnlock(const char* key) {
        registry.lock<int>(key);
        registry.unlock<int>(key);
    }
    static void* makeNothing() { throw Exception::RuntimeError("", "", 0); }

    test::Atomics atomics;
    test::Threads threads;
    test::Folder folder{"/missing/"};
    test::Clock clock{0};
    test::MemoryFiles files;
    static inline int newLine = 0;  // New ones, for messages that were not there before.
    unsigned position = 0;
    String text, sharer;
    SubString view{String("a view"), 2, 3};
    StringRep rep{"ab,cd", 5};
    Vector<String> texts;
    WString wideText = L"wide/gr\u00FCn";
    Vector<WString> wideTexts;
    Vector<Copied> copies;
    Pair pair{"key=value", '='};
    Pair uncutPair{"key=value", '='};
    VornIniFile ini{L"input", false, false};
    VornIniFile::Sections sections{VornIniFile_Private::StringLT_Fancy{true}};
    Settings settings;
    CriticalSection lock{"lock"};
    NamedObjectsNamespace registry{"space"};
    Handle handle{new int(1)};
    Pool pool{"pool"};
    std::unique_ptr<Pool> newPool;
};

std::string Subject::state() const {
    const test::Unledgered unledgered;
    std::string all = files.get(L"output");
    all += std::to_string(rep.capacity) + std::to_string(rep.refCount);
    const auto add = [&](const String& part) { (all += '|').append(part, part.size()); };
    const auto addPair = [&](const Pair& added) {
        add(added.asString('='));
        add(added.getAttrib());
        add(added.getValue());
    };
    const auto& lockRep = reinterpret_cast<const Vorn::Ptr<CriticalSection::Rep>&>(lock);
    const auto& keys = reinterpret_cast<const std::list<NamedObjectInfo*>&>(registry);

    for (const String& part : {text, sharer, String(view), String(rep.buffer, rep.length),
                               String(wideText.c_str()), lockRep->name})
        add(part);
    addPair(pair);
    addPair(Pair(uncutPair));  // A copy, since asking would cut the pair itself.
    for (const String& each : texts) add(each);
    for (const WString& each : wideTexts) add(each.c_str());
    for (const Copied& each : copies) add(each.text.c_str());
    for (auto section = ini.getSectionIterator(); section.valid(); ++section) {
        add(section.name());
        for (const Pair& entry : *section) add(entry.asString('='));
    }
    add(settings.text().c_str());
    for (const NamedObjectInfo* key : keys) add(key->object ? key->objectName : key->typeName);
    return all;
}

std::vector<Operation> Subject::operations() {
    const test::Unledgered unledgered;
    return {
        // Strings.
        ALLOCATES(text = "text"),
        ALLOCATES(text = String('c', 3)),
        ALLOCATES(text = L"wide"),
        ALLOCATES(text[9] = 'c'),
        ALLOCATES(text += text),
        ALLOCATES(text += "abc"),
        ALLOCATES(text += 'c'),
        ALLOCATES(text += 1.5),
        ALLOCATES(text = text + text),
        ALLOCATES(text = text.substitute("b", "long")),
        ALLOCATES(text.substitute('a', 'b')),
        ALLOCATES(text.split(',', texts, SplitNoEmpties | SplitQuoted)),
        ALLOCATES(String("one,two,three,four").split(',', texts, 0)),
        ALLOCATES(text.replace("xyz", 3, 0, 9)),
        ALLOCATES(text.replaceAll("xyz", 3)),
        ALLOCATES(text.insert("xyz", 3, 1, 2)),
        ALLOCATES(text.remove(1, 2)),
        ALLOCATES(text.toUpper()),
        ALLOCATES(text.rotateLeft(2)),
        ALLOCATES(text.stripLeadingSpaces()),
        ALLOCATES(readWords()).inSteps(),
        NEEDS_NO_MEMORY(text = nullptr),
        NEEDS_NO_MEMORY(text = sharer),
        NEEDS_NO_MEMORY(text = std::move(sharer)),
        NEEDS_NO_MEMORY(text.substitute("none", "")),
        // Views.
        ALLOCATES(view = text),
        ALLOCATES(view = SubString(text, 1, 3)),
        NEEDS_NO_MEMORY(view = SubString(view)),
        NEEDS_NO_MEMORY(view.purge()),
        // Representations.
        ALLOCATES(StringRep("text", 4)),
        ALLOCATES(rep = "some longer text"),
        ALLOCATES(rep = 'c'),
        ALLOCATES(rep.append("xyz")),
        ALLOCATES(rep.expandTo(20)),
        ALLOCATES(rep.resizeFor(20)),
        ALLOCATES(rep.replace("xyz", 3, 0, 4)),
        ALLOCATES(rep.insert(rep.buffer, 2, 0, 1)),
        ALLOCATES(rep.substitute("a", "xyz")),
        ALLOCATES(rep.buffer = rep.realloc(rep.buffer, 9)),
        ALLOCATES(delete rep.unshare()),
        NEEDS_NO_MEMORY(rep.remove(1, 2)),
        NEEDS_NO_MEMORY(rep.purge()),
        // Vectors.
        ALLOCATES(texts.add(text)),
        ALLOCATES(wideTexts.remove(0, 1)),
        ALLOCATES(wideTexts.push_back(wideText)),
        ALLOCATES(wideTexts.insert(wideText, 1)),
        ALLOCATES(wideTexts.intern(wideText, position)),
        ALLOCATES(wideTexts = Vector<WString>(wideTexts)),
        ALLOCATES(wideTexts.resizeFor(9)),
        ALLOCATES(copies.resizeFor(9)),
        NEEDS_NO_MEMORY(texts.locate(texts[0], position)),
        NEEDS_NO_MEMORY(texts.removeIdx(1)),
        NEEDS_NO_MEMORY(texts.remove(1, 2)),
        NEEDS_NO_MEMORY(wideTexts.remove(1, 4)),
        NEEDS_NO_MEMORY(wideTexts.removeItem(wideTexts[0])),
        // Wide text.
        ALLOCATES(wideText = substituteCaseInsensitive(wideText, L"E", L"some")),
        ALLOCATES(split(wideText, L'/', wideTexts, 0)),
        ALLOCATES(split(L"the first/the second/the third", L'/', wideTexts, 0)),
        ALLOCATES(wideText = splitFilename(wideText)),
        ALLOCATES(wideText = PathsLite::getSystemLogsPath()),
        NEEDS_NO_MEMORY(toUpper(wideText)),
        // Pairs.
        ALLOCATES(pair = Pair(text, "value", '=')),
        ALLOCATES(pair = Pair("some=text", '=')),
        ALLOCATES(pair.setAttrib("name")),
        ALLOCATES(pair.setValue("text")),
        ALLOCATES(pair.setLine("a=b")),
        ALLOCATES(uncutPair.getAttrib()),
        ALLOCATES(uncutPair.setAttrib("name")),
        ALLOCATES(uncutPair.setValue("text")),
        ALLOCATES(uncutPair == Pair("other", '=')),
        ALLOCATES(wideText = pair.asWString('=')),
        NEEDS_NO_MEMORY(pair == Pair(pair)),
        NEEDS_NO_MEMORY(pair = Pair(pair)),
        // INI files.
        ALLOCATES(ini = VornIniFile(L"input", false, true)),
        ALLOCATES(ini = VornIniFile(L"input", true, true)).inSteps(),
        ALLOCATES(ini = VornIniFile(ini)),
        ALLOCATES(ini.save(L"output")),
        ALLOCATES(ini.load(L"input", '\n')).inSteps(),
        ALLOCATES(ini["New"]),
        ALLOCATES(Builder{&sections} = " some = text "),
        ALLOCATES(Builder{&sections} = "[New]"),
        ALLOCATES(StringManip::splitBuffer(Builder(&sections), "a,b", 3, ',')),
        NEEDS_NO_MEMORY(ini.sectionExists(text)),
        // Settings.
        ALLOCATES(settings.load(L"input")),
        ALLOCATES(settings.save(L"output")),
        ALLOCATES(settings = Settings(settings)),
        ALLOCATES(settings.parse("k=1")),
        ALLOCATES(settings.set("Section", "key", 1)),
        ALLOCATES(settings.set("Section", "new", wideText)),
        ALLOCATES(settings.set("New", "key", std::vector{1, 2})),
        ALLOCATES(settings.erase("Section", "key")),
        ALLOCATES(settings.eraseSection("Section")),
        ALLOCATES(settings.sections()),
        NEEDS_NO_MEMORY(settings.erase("Section", "none")),
        NEEDS_NO_MEMORY(settings = Settings(std::move(settings))),
        // Locks.
        ALLOCATES(lock.init(1)),
        ALLOCATES(lock.setName("name")),
        NEEDS_NO_MEMORY(EasyCrit(lock)),
        // The registry.
        ALLOCATES(registry.create("new", &position)),
        ALLOCATES(registry.createOrReplace("new", &position)),
        ALLOCATES(registry.findOrCreate<int>("new", makeNothing)),
        ALLOCATES(std::unique_ptr<int>(registry.findOrCreate<int>("new"))),
        ALLOCATES(std::unique_ptr<int>(registry.findOrCreate<int>("bare"))),
        ALLOCATES(lockAndUnlock("new")),
        NEEDS_NO_MEMORY(lockAndUnlock("bare")),
        NEEDS_NO_MEMORY(registry.find<unsigned>("key")),
        NEEDS_NO_MEMORY(registry.findOrCreate<unsigned>("key")),
        NEEDS_NO_MEMORY(registry.create("bare", &newLine)),
        NEEDS_NO_MEMORY(registry.remove<unsigned>("key")),
        // Pools and checks.
        ALLOCATES(newPool = std::make_unique<Pool>("new")).keeping(1),
        ALLOCATES(pool.dump()),
        ALLOCATES(PooledObjectDebug::LoggingTraitsBase_exit()),
        ALLOCATES(throwShort("f", ++newLine, 1)).keeping(2),
        ALLOCATES(throwDetailed("f", ++newLine, "e", 1)).keeping(2),
        NEEDS_NO_MEMORY(pool.ltb_afterPush(nullptr, 0)),
        NEEDS_NO_MEMORY(pool.ltb_afterPop(nullptr, 0)),
        NEEDS_NO_MEMORY(throwShort("f", 0, 1)),
        NEEDS_NO_MEMORY(checkAndLog(-1, "f", 1, "e", true, 1.0, 2.0)),
        // Handles and the platform.
        ALLOCATES(handle = makePtr<int>(2)),
        ALLOCATES(text = posix::textServices->utf8FromWide(L"text of some length").c_str()),
        ALLOCATES(wideText = posix::pathServices->getFolderPath(4)),
        NEEDS_NO_MEMORY(Handle(handle)),
        NEEDS_NO_MEMORY(now()),
    };
}

// Runs an operation, which may be misuse. Returns whether it reported that memory ran out.
bool runsOut(const Operation& operation) {
    try {
        operation.run();
    } catch (const Exception::RuntimeError&) {
    } catch (const std::bad_alloc&) {
        return true;
    }
    return false;
}

// Runs a row of the operations with its n-th allocation refused, and then once more; for 0 with
// none refused. Returns whether there was one to refuse, and the state that is left.
std::pair<bool, std::string> runRefused(std::size_t row, int holders, std::size_t n) {
    test::MemoryLedger ledger;
    auto subject = std::make_unique<Subject>(holders);
    const Operation operation = subject->operations()[row];
    const std::string before = subject->state();
    const long unusedBefore = test::unusedAnswers;

    ledger.failIn = n;
    const bool ranOut = runsOut(operation);
    const bool refused = ledger.refused > 0;
    ledger.failIn = 0;
    EXPECT_TRUE(ranOut == refused || operation.worksInSteps) << "refused: " << refused;
    EXPECT_TRUE(!ranOut || subject->state() == before || operation.worksInSteps)
        << "before: " << before << "\nleft: " << subject->state();
    EXPECT_EQ(test::Threads::held, 0) << "locks that were not left";
    EXPECT_EQ(test::unusedAnswers, unusedBefore) << "each use asks for its service";

    if (refused) {
        EXPECT_FALSE(runsOut(operation)) << "once there is memory again";
    }
    const std::string left = subject->state();
    subject.reset();
    // The subject's pool stays on the list of all.
    EXPECT_EQ(ledger.blocks.size(), operation.blocksKept + 1) << "blocks that were not released";
    return {refused, left};
}

void refuseEachAllocation(std::size_t row, int holders, const Operation& operation) {
    const std::string undisturbed = runRefused(row, holders, 0).second;
    std::size_t asked = 0;
    for (bool refused = true; refused;) {
        SCOPED_TRACE("allocation " + std::to_string(++asked) + " refused");
        const auto [wasRefused, left] = runRefused(row, holders, asked);
        EXPECT_TRUE(left == undisturbed || operation.worksInSteps)
            << "expected: " << undisturbed << "\nfound: " << left;
        refused = wasRefused;
    }
    if (holders == 2 || !operation.allocates) {
        EXPECT_EQ(asked > 1, operation.allocates);
    }
}

TEST(AllocationSweep, RefusalsLoseNothing) {
    VornIniFile::kAnonymousSection();  // Stays for ever, as what the first subject makes, and this.
    EXPECT_THROW(throwShort("f", 0, 1), Exception::RuntimeError);
    const std::vector<Operation> operations = Subject(0).operations();  // To read, not to run.
    for (std::size_t row = 0; row < operations.size(); ++row)
        for (const int holders : {0, 1, 2}) {
            SCOPED_TRACE(operations[row].code);
            SCOPED_TRACE("holders of the text: " + std::to_string(holders));
            refuseEachAllocation(row, holders, operations[row]);
        }
}

}  // namespace
