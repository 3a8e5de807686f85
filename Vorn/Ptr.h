// Memory: the two-word reference-counted handle.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <type_traits>
#include <utility>

#include "platform/Export.h"
#include "platform/OS.h"
#include "platform/iAtomicServices.h"

class iCriticalSection;
class iFile;

namespace Vorn {

// A handle may hold a buffer from `new[]`.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"

/// Destruction policy: the scalar `delete`, even for arrays, because all forms end in one
/// allocator.
struct DtorTraits {
    template <class T>
    static void destroy(T* object) noexcept {
        delete object;
    }
};

#pragma GCC diagnostic pop

/// Counting policy: the counter is in a block of its own, apart from the object.
struct ExternalRefCountTraits {
    static constexpr bool ownsCounter = true;
};

/// Counting policy: the counter is part of the object and is destroyed with it.
struct InternalRefCountTraits {
    static constexpr bool ownsCounter = false;
};

/// The default counting policy of `Ptr<T>`: internal for what the platform hands out.
template <class T>
struct DefaultRefCountTraits {
    using type = ExternalRefCountTraits;
};
template <>
struct DefaultRefCountTraits<iCriticalSection> {
    using type = InternalRefCountTraits;
};
template <>
struct DefaultRefCountTraits<iFile> {
    using type = InternalRefCountTraits;
};

/// Whether a handle to a `From` converts to a handle to a `To`: to the same type with `const`, or
/// to a base whose virtual destructor destroys the whole object.
template <class From, class To, class Dtor>
concept SharesAs = !std::is_same_v<From, To> &&
                   (std::is_same_v<const From, To> ||
                    (std::is_same_v<Dtor, DtorTraits> && std::is_convertible_v<From*, To*> &&
                     std::has_virtual_destructor_v<To>));

/// Shared ownership of a `T`. Copies share the object; the last handle destroys it, on the thread
/// that the handle is on.
///
/// Thread safety: handles to one object may be copied and destroyed on different threads at the
/// same time. A single handle is plain data and belongs to one thread at a time.
///
/// Invariants:
/// 1. A handle is two words, the counter's address and the object's.
/// 2. A handle without an object owns nothing, and its counter word is never used.
/// 3. The counter equals the number of handles that share the object; it changes only through
///    `iAtomicServices`.
template <class T, class Dtor = DtorTraits,
          class RefCountTraits = typename DefaultRefCountTraits<T>::type>
class Ptr {
public:
    Ptr() noexcept = default;
    /// A template, so that no 0 or `NULL` comes here.
    template <std::same_as<std::nullptr_t> Null>
    Ptr(Null) noexcept {}

    /// Takes over `p`, which may be null. If the counter cannot be allocated, throws
    /// `std::bad_alloc`, and `p` still belongs to the caller.
    explicit Ptr(T* p) requires RefCountTraits::ownsCounter
        : counter(p ? new std::int32_t(0) : nullptr),
          object(p) {
        incRef();
    }

    /// Takes over the count that `*counter`, which is part of `object`, already has for this
    /// handle.
    static Ptr adopt(T* object, std::int32_t* counter) noexcept
        requires(!RefCountTraits::ownsCounter) {
        Ptr handle;
        handle.counter = counter;
        handle.object = object;
        return handle;
    }

    Ptr(const Ptr& other) noexcept : counter(other.counter), object(other.object) { incRef(); }
    Ptr(Ptr&& other) noexcept
        : counter(std::exchange(other.counter, nullptr)),
          object(std::exchange(other.object, nullptr)) {}
    /// Shares the object of a handle to another type.
    template <SharesAs<T, Dtor> Other>
    Ptr(const Ptr<Other, Dtor, RefCountTraits>& other) noexcept
        : counter(other.counter), object(other.object) {
        incRef();
    }
    ~Ptr() { decRef(); }

    /// Counts the new object before releasing the old one, so that assigning between two handles
    /// to one object never frees it.
    Ptr& operator=(const Ptr& other) noexcept {
        if (this == &other) return *this;
        Ptr old(*this);
        counter = other.counter;
        object = other.object;
        incRef();
        old.decRef();  // The count that this handle held; the destructor gives up the copy's own.
        return *this;
    }
    // cppcheck-suppress operatorEqVarError; the swap assigns both.
    Ptr& operator=(Ptr&& other) noexcept {
        Ptr taken(std::move(other));
        std::swap(counter, taken.counter);
        std::swap(object, taken.object);
        return *this;
    }

    Ptr& operator=(std::nullptr_t) noexcept { return *this = Ptr(); }

    T* get() const noexcept { return object; }
    T* operator->() const noexcept { return object; }
    T& operator*() const noexcept { return *object; }
    explicit operator bool() const noexcept { return object != nullptr; }
    /// Whether both refer to the same object.
    bool operator==(const Ptr& other) const noexcept { return object == other.object; }
    bool operator==(std::nullptr_t) const noexcept { return object == nullptr; }

    /// Adds one to the object's count, if there is an object.
    void incRef() noexcept {
        if (object) OS()->atomicServices()->increment(counter);
    }

    /// Takes one off the count. The call that makes it 0 frees the counter, destroys the object and
    /// empties the handle; otherwise the handle keeps its words.
    void decRef() noexcept {
        if (!object || OS()->atomicServices()->decrement(counter) != 0) return;
        std::int32_t* const lastCounter = std::exchange(counter, nullptr);
        T* const lastObject = std::exchange(object, nullptr);
        if constexpr (RefCountTraits::ownsCounter) delete lastCounter;
        Dtor::destroy(lastObject);
    }

private:
    template <class, class, class>
    friend class Ptr;

    std::int32_t* counter = nullptr;
    T* object = nullptr;
};

/// Makes an object and its first handle. Leaks nothing when memory runs out.
template <class T, class... Arguments>
Ptr<T> makePtr(Arguments&&... arguments) {
    std::unique_ptr<T> object(new T(std::forward<Arguments>(arguments)...));
    Ptr<T> handle(object.get());
    static_cast<void>(object.release());
    return handle;
}

namespace TypeManip {

/// A factory for `T`, as a plain function.
template <class T>
struct TemplatedNew {
    static void* new_() { return new T(); }
};

}  // namespace TypeManip
}  // namespace Vorn

namespace std {

/// The hash of the object's address.
template <class T, class Dtor, class RefCountTraits>
struct hash<Vorn::Ptr<T, Dtor, RefCountTraits>> {
    std::size_t operator()(const Vorn::Ptr<T, Dtor, RefCountTraits>& handle) const noexcept {
        return std::hash<T*>()(handle.get());
    }
};

}  // namespace std
