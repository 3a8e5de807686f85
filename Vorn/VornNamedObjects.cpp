#include "Vorn/VornNamedObjects.h"

#include <atomic>
#include <cstddef>
#include <cstring>
#include <memory>

#include "Vorn/CRC.h"
#include "Vorn/Exception.h"
#include "platform/OS.h"
#include "platform/iThreadServices.h"

namespace Vorn {

static_assert(offsetof(NamedObjectInfo, typeNameCrc) == 0);
static_assert(offsetof(NamedObjectInfo, objectNameCrc) == 4);
static_assert(offsetof(NamedObjectInfo, object) == 8);
static_assert(offsetof(NamedObjectInfo, lock) == 16);
static_assert(offsetof(NamedObjectInfo, typeName) == 32);
static_assert(offsetof(NamedObjectInfo, objectName) == 40);
static_assert(sizeof(NamedObjectInfo) == 48);
static_assert(sizeof(NamedObjectsNamespace) ==
              sizeof(std::list<NamedObjectInfo*>) + sizeof(CriticalSection) + sizeof(String));

namespace {

[[noreturn]] void fail(const char* message, int line = __builtin_LINE()) {
    throw Exception::RuntimeError(message, "Vorn/VornNamedObjects", line);
}

void requireName(const char* name, int line = __builtin_LINE()) {
    if (!name) fail("Invalid object name!", line);
}

void requireObject(const void* object, int line = __builtin_LINE()) {
    if (!object) fail("'object' cannot be NULL!", line);
}

std::uint32_t check(const char* text) {
    return CRC::CalculateCRC32ForBlock(text, std::strlen(text));
}

// An entry with its list node, so that taking it into a list cannot fail.
class NewEntry {
public:
    NewEntry(const std::type_info& type, const char* name)
        : info(std::make_unique<NamedObjectInfo>(type.name(), name, nullptr)), node{info.get()} {}

    NamedObjectInfo* appendTo(std::list<NamedObjectInfo*>& entries, void* object) noexcept {
        info->object = object;
        entries.splice(entries.end(), node);
        return info.release();
    }

private:
    std::unique_ptr<NamedObjectInfo> info;
    std::list<NamedObjectInfo*> node;
};

}  // namespace

NamedObjectInfo::NamedObjectInfo(const char* type, const char* name, void* registered)
    : typeNameCrc(check(type)), objectNameCrc(check(name)), object(registered) {
    // The object's name first.
    objectName = name;  // cppcheck-suppress useInitializationList
    typeName = type;    // cppcheck-suppress useInitializationList
}

NamedObjectsNamespace* NamedObjectsNamespace::getGlobalNamespaceInstance() {
    static CriticalSection initLock;
    static constinit std::atomic<NamedObjectsNamespace*> theInstance{nullptr};
    if (NamedObjectsNamespace* const instance = theInstance.load(std::memory_order_acquire))
        return instance;
    const EasyCrit guard(initLock);
    if (!theInstance.load(std::memory_order_relaxed))
        theInstance.store(new NamedObjectsNamespace("GLOBAL"), std::memory_order_release);
    return theInstance.load(std::memory_order_relaxed);
}

NamedObjectsNamespace::NamedObjectsNamespace(const char* name_) : name(name_) {}

NamedObjectsNamespace::~NamedObjectsNamespace() {
    for (NamedObjectInfo* const info : entries) delete info;
}

void* NamedObjectsNamespace::find_(const std::type_info& type, const char* name_) {
    requireName(name_);
    NamedObjectInfo* const info = findInfo_(type, name_);
    if (!info) return nullptr;
    const EasyCrit guard(info->lock);
    return info->object;
}

void NamedObjectsNamespace::create_(const std::type_info& type, const char* name_, void* object) {
    requireName(name_);
    requireObject(object);
    const auto [info, added] = findOrAdd(type, name_, object);
    if (added) return;
    const EasyCrit guard(info->lock);
    if (info->object) fail("Attempted to create named objects with duplicate names!");
    info->object = object;
}

void* NamedObjectsNamespace::findOrCreate_(const std::type_info& type, const char* name_,
                                           Factory factory) {
    requireName(name_);
    NamedObjectInfo* info;
    void* made = nullptr;
    bool called = false;
    {
        const EasyCrit guard(entriesLock);
        info = findInfo_(type, name_);
        if (!info) {
            NewEntry entry(type, name_);
            made = factory();
            called = true;
            info = findInfo_(type, name_);  // The factory may have used its own key.
            if (!info) return entry.appendTo(entries, made)->object;
        }
    }
    const EasyCrit guard(info->lock);
    if (!info->object && !called) made = factory();
    if (!info->object) info->object = made;
    return info->object;
}

void NamedObjectsNamespace::createOrReplace_(const std::type_info& type, const char* name_,
                                             void* object) {
    requireName(name_);
    requireObject(object);
    const auto [info, added] = findOrAdd(type, name_, object);
    if (added) return;
    const EasyCrit guard(info->lock);
    info->object = object;
}

void NamedObjectsNamespace::remove_(const std::type_info& type, const char* name_) {
    requireName(name_);
    NamedObjectInfo* const info = findInfo_(type, name_);
    if (!info) return;
    const EasyCrit guard(info->lock);
    info->object = nullptr;
}

bool NamedObjectsNamespace::lock_(const std::type_info& type, const char* name_, bool wait) {
    requireName(name_);
    NamedObjectInfo* const info = findOrAdd(type, name_, nullptr).first;
    if (!wait) return info->lock.attemptEntry() == 0;
    info->lock.enter();
    return true;
}

void NamedObjectsNamespace::unlock_(const std::type_info& type, const char* name_) {
    requireName(name_);
    NamedObjectInfo* const info = findInfo_(type, name_);
    if (!info || info->lock.owner() != OS()->threadServices()->currentThreadId())
        fail("Attempted to unlock a named object that had not previously been locked!");
    info->lock.leave();
}

std::pair<NamedObjectInfo*, bool> NamedObjectsNamespace::findOrAdd(const std::type_info& type,
                                                                   const char* name_,
                                                                   void* object) {
    const EasyCrit guard(entriesLock);
    if (NamedObjectInfo* const info = findInfo_(type, name_)) return {info, false};
    return {addListEntry_(type, name_, object), true};
}

NamedObjectInfo* NamedObjectsNamespace::findInfo_(const std::type_info& type, const char* name_) {
    const char* const typeName = type.name();
    const std::uint32_t typeNameCrc = check(typeName);
    const std::uint32_t objectNameCrc = check(name_);
    const EasyCrit guard(entriesLock);
    for (NamedObjectInfo* const info : entries) {
        if (info->typeNameCrc == typeNameCrc && info->objectNameCrc == objectNameCrc &&
            std::strcmp(info->typeName, typeName) == 0 && std::strcmp(info->objectName, name_) == 0)
            return info;
    }
    return nullptr;
}

NamedObjectInfo* NamedObjectsNamespace::addListEntry_(const std::type_info& type, const char* name_,
                                                      void* object) {
    NewEntry entry(type, name_);
    const EasyCrit guard(entriesLock);
    return entry.appendTo(entries, object);
}

}  // namespace Vorn
