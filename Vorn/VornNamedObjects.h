// Named objects: the registry through which modules share objects and locks by type and name.
#pragma once

#include <cstdint>
#include <list>
#include <typeinfo>
#include <utility>

#include "Vorn/CriticalSection.h"
#include "Vorn/Ptr.h"
#include "Vorn/String.h"
#include "platform/Export.h"

namespace Vorn {

/// One key of a namespace: its object, if one is registered, and the lock that guards it. The names
/// are copies; their `Vorn::CRC` checksums are compared first.
struct VORN_EXPORT NamedObjectInfo {
    NamedObjectInfo(const char* type, const char* name, void* registered);
    NamedObjectInfo(const NamedObjectInfo&) = delete;
    NamedObjectInfo& operator=(const NamedObjectInfo&) = delete;

    std::uint32_t typeNameCrc;
    std::uint32_t objectNameCrc;
    void* object;
    CriticalSection lock;
    String typeName;
    String objectName;
};

/// Objects that modules find by type and name without knowing each other. A type and a name make a
/// key. Each key is also a named lock, whether or not an object is registered under it. Names are
/// compared byte by byte, types by the text of `std::type_info::name()`, so modules with separate
/// copies of a `type_info` find the same entry.
///
/// The registry never owns an object: whoever registers it keeps it alive while it is registered.
/// Not copyable.
///
///     auto& registry = *Vorn::NamedObjectsNamespace::getGlobalNamespaceInstance();
///     Mixer* const mixer = registry.findOrCreate<Mixer>("main mixer");
///
/// Thread safety:
/// - Any thread may call any operation. Locks are re-entrant; an operation that throws leaves all
///   that it took.
/// - One lock guards the list of keys; each key has a lock that guards its object. No operation
///   waits for a key's lock while it holds the list's. A thread that holds a key may call any
///   operation.
/// - Operations on a key that another thread has locked wait for it; `find_` and `remove_` of an
///   unknown key do not.
/// - A factory runs under the lock of the list if its key is new, and otherwise under the key's
///   lock. It may use the registry, its own key included, but must not wait for a thread that does.
///
/// Invariants:
/// 1. At most one entry per key, in the order of first use.
/// 2. Entries are never unlinked or freed while the namespace lives.
///
/// A null name throws `Vorn::Exception::RuntimeError` before anything else happens. When memory
/// runs out, operations throw `std::bad_alloc` and leave the registry unchanged. Looking up an
/// existing key allocates nothing and takes time in proportion to the number of keys.
class VORN_EXPORT NamedObjectsNamespace {
public:
    using Factory = void* (*)();

    /// The process-wide namespace "GLOBAL", made by the first call and never destroyed. Takes no
    /// lock after that.
    static NamedObjectsNamespace* getGlobalNamespaceInstance();

    explicit NamedObjectsNamespace(const char* name);
    /// Frees the keys and their locks, but no objects. Nobody may be using the namespace.
    ~NamedObjectsNamespace();
    NamedObjectsNamespace(const NamedObjectsNamespace&) = delete;
    NamedObjectsNamespace& operator=(const NamedObjectsNamespace&) = delete;

    /// The object registered under the key, or null.
    template <class T>
    T* find(const char* name_) {
        return static_cast<T*>(find_(typeid(T), name_));
    }
    /// Registers `object`; throws `RuntimeError` if it is null or the key already has an object.
    template <class T>
    void create(const char* name_, T* object) {
        create_(typeid(T), name_, object);
    }
    /// The object registered under the key. If there is none, registers and returns what `factory`
    /// returns; null is not registered.
    template <class T>
    T* findOrCreate(const char* name_, Factory factory = &TypeManip::TemplatedNew<T>::new_) {
        return static_cast<T*>(findOrCreate_(typeid(T), name_, factory));
    }
    /// Registers `object` in place of whatever was registered; throws `RuntimeError` if it is null.
    template <class T>
    void createOrReplace(const char* name_, T* object) {
        createOrReplace_(typeid(T), name_, object);
    }
    /// Forgets the object registered under the key; the key and its lock stay.
    template <class T>
    void remove(const char* name_) {
        remove_(typeid(T), name_);
    }
    /// Takes the key's lock, once more if the caller holds it already. Without `wait`, returns
    /// false at once if another thread holds it. Each success needs one `unlock` on the same
    /// thread.
    template <class T>
    bool lock(const char* name_, bool wait = true) {
        return lock_(typeid(T), name_, wait);
    }
    /// Releases the key's lock once; throws `RuntimeError` if the caller does not hold it.
    template <class T>
    void unlock(const char* name_) {
        unlock_(typeid(T), name_);
    }

    /// The operations behind the typed ones.
    void* find_(const std::type_info& type, const char* name_);
    void create_(const std::type_info& type, const char* name_, void* object);
    void* findOrCreate_(const std::type_info& type, const char* name_, Factory factory);
    void createOrReplace_(const std::type_info& type, const char* name_, void* object);
    void remove_(const std::type_info& type, const char* name_);
    bool lock_(const std::type_info& type, const char* name_, bool wait);
    void unlock_(const std::type_info& type, const char* name_);

    /// The entry of a key, or null. Neither this nor the next one may be given a null name.
    NamedObjectInfo* findInfo_(const std::type_info& type, const char* name_);
    /// Appends an entry for a key that has none. The caller holds the lock of the list.
    NamedObjectInfo* addListEntry_(const std::type_info& type, const char* name_, void* object);

private:
    std::pair<NamedObjectInfo*, bool> findOrAdd(const std::type_info& type, const char* name_,
                                                void* object);

    std::list<NamedObjectInfo*> entries;
    CriticalSection entriesLock;
    String name;
};

}  // namespace Vorn
