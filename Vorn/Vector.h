// Text and containers: the growable array.
#pragma once

#include <algorithm>
#include <cstddef>
#include <initializer_list>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

#include "Vorn/WString.h"
#include "platform/Export.h"

/// An array that grows by doubling from 4 elements. Its element operations are virtual, in the
/// order of their declaration. Sizes and positions count elements, as 32-bit numbers; growing past
/// 2^31 elements throws `std::bad_alloc`. `T` needs a default value, assignment and `==`; every
/// slot of the storage holds a live value. If an operation fails to get memory, no element has
/// changed, provided that moving one cannot fail. Copies are deep. One thread at a time may use a
/// vector.
template <class T>
class VORN_EXPORT Vector {
public:
    using value_type = T;
    using size_type = unsigned;
    using difference_type = std::ptrdiff_t;
    using reference = T&;
    using const_reference = const T&;
    using pointer = T*;
    using const_pointer = const T*;
    using iterator = T*;
    using const_iterator = const T*;

    Vector() noexcept = default;
    Vector(std::initializer_list<T> list) : Vector() {
        resizeFor(static_cast<unsigned>(std::min<std::size_t>(list.size(), 0xFFFFFFFF)));
        std::copy(list.begin(), list.end(), elements);
        count = static_cast<unsigned>(list.size());
    }
    Vector(const Vector& other) { *this = other; }
    /// Takes the storage of `other` and leaves it empty.
    Vector(Vector&& other) noexcept { takeOver(other); }
    Vector& operator=(Vector&& other) noexcept {
        if (this != &other) takeOver(other);
        return *this;
    }
    Vector& operator=(const Vector& other) {
        if (this == &other) return *this;
        Vector copy;
        copy.resizeFor(other.count);
        std::copy(other.begin(), other.end(), copy.elements);
        copy.count = other.count;
        takeOver(copy);
        return *this;
    }
    virtual ~Vector() { purge(); }

    /// Appends `x`, which may be an element of this vector; returns its position.
    virtual unsigned add(const T& x) {
        if (count < capacity) {
            elements[count] = x;
        } else {
            T element{};
            element = x;
            resizeFor(count + 1);
            elements[count] = std::move(element);
        }
        return count++;
    }
    /// `add`, through the virtual table.
    virtual unsigned push_back(const T& x) { return add(x); }

    /// Looks for the first element equal to `x`. Returns whether there is one. `index` becomes its
    /// position, or the number of elements if there is none.
    virtual bool locate(const T& x, unsigned& index) const {
        index = static_cast<unsigned>(std::find(begin(), end(), x) - begin());
        return index < count;
    }
    /// Appends `x` unless there is an equal element; `index` becomes the position of either.
    /// Returns whether `x` was appended.
    virtual bool intern(const T& x, unsigned& index) {
        if (locate(x, index)) return false;
        insert(x, index);
        return true;
    }
    /// Puts `x`, which may be an element of this vector, before position `index` ≤ `size()`.
    virtual void insert(const T& x, unsigned index) {
        T element{};
        element = x;
        resizeFor(count + 1);
        for (unsigned i = count; i > index; --i) shift(elements[i - 1], elements[i]);
        ++count;
        elements[index] = std::move(element);
    }
    /// Removes the element at `index` and resets the slot that becomes free. If there is no such
    /// element, changes nothing and returns false.
    virtual bool removeIdx(unsigned index) {
        if (index >= count) return false;
        --count;
        for (unsigned i = index; i < count; ++i) shift(elements[i + 1], elements[i]);
        elements[count] = T();
        return true;
    }
    /// Removes the elements from `from` to `to` − 1, with `to` ≤ `size()`. Slots that become free
    /// keep their values. Returns true.
    virtual bool remove(unsigned from, unsigned to) {
        if (from >= to) return true;
        const unsigned left = count - (to - from);
        if constexpr (std::is_nothrow_copy_assignable_v<T>) {
            std::copy(elements + to, elements + count, elements + from);
        } else {
            // An element that moves down and also stays in its old slot is copied first, because
            // copying can fail.
            const unsigned firstStaying = std::max(left, to);
            const auto staying =
                firstStaying < count ? std::make_unique<T[]>(count - firstStaying) : nullptr;
            std::copy(elements + firstStaying, elements + count, staying.get());
            std::move(elements + to, elements + count, elements + from);
            std::move(staying.get(), staying.get() + (count - firstStaying),
                      elements + firstStaying);
        }
        count = left;
        return true;
    }
    /// Removes the first element equal to `x`; returns whether there was one.
    virtual bool removeItem(const T& x) {
        unsigned index;
        return locate(x, index) && removeIdx(index);
    }
    /// Does what `purge` does.
    virtual void clear() { purge(); }
    /// Frees this vector's storage, takes over that of `other` and leaves it empty.
    virtual void consume(Vector& other) {
        if (this != &other) takeOver(other);
    }

    /// Makes room for `n` elements. 0 frees the storage; any other number never shrinks it.
    void resizeFor(unsigned n) {
        if (n == 0) return purge();
        if (n <= capacity) return;
        if (n > kMaxCapacity) throw std::bad_alloc();
        unsigned grown = capacity ? capacity : 4;
        while (grown < n) grown *= 2;
        T* const storage = new T[grown];
        moveInto(storage);
        delete[] elements;
        elements = storage;
        capacity = grown;
    }
    /// Destroys all slots and frees the storage.
    void purge() {
        delete[] std::exchange(elements, nullptr);
        count = capacity = 0;
    }

    bool operator==(const Vector& other) const {
        return std::equal(begin(), end(), other.begin(), other.end());
    }

    unsigned size() const { return count; }
    bool empty() const { return count == 0; }
    unsigned getCapacity() const { return capacity; }
    /// The element at `index` < `size()`, unchecked.
    T& operator[](unsigned index) { return elements[index]; }
    const T& operator[](unsigned index) const { return elements[index]; }
    /// The first and the last element, unchecked.
    T& front() { return elements[0]; }
    const T& front() const { return elements[0]; }
    T& back() { return elements[count - 1]; }
    const T& back() const { return elements[count - 1]; }
    T* data() { return elements; }
    const T* data() const { return elements; }
    T* begin() { return elements; }
    T* end() { return elements + count; }
    const T* begin() const { return elements; }
    const T* end() const { return elements + count; }

private:
    static constexpr unsigned kMaxCapacity = 1u << 31;

    // Moving an element leaves its old slot alone unless copying it could fail halfway.
    static void shift(T& from, T& to) {
        if constexpr (std::is_nothrow_copy_assignable_v<T>)
            to = from;
        else
            to = std::move(from);
    }

    void moveInto(T* storage) {
        if constexpr (std::is_nothrow_move_assignable_v<T>) {
            std::move(begin(), end(), storage);
        } else {
            try {
                std::copy(begin(), end(), storage);
            } catch (...) {
                delete[] storage;
                throw;
            }
        }
    }

    void takeOver(Vector& other) {
        purge();
        elements = std::exchange(other.elements, nullptr);
        count = std::exchange(other.count, 0);
        capacity = std::exchange(other.capacity, 0);
    }

    T* elements = nullptr;
    unsigned count = 0;
    unsigned capacity = 0;
};

extern template class Vector<int>;
extern template class Vector<unsigned long>;
extern template class Vector<WString>;
