// Pool diagnostics: the lock-free intrusive stack.
#pragma once

#include <atomic>
#include <cstdint>

#include "platform/OS.h"
#include "platform/iAtomicServices.h"

namespace Vorn::LockFree {

/// A stack of nodes that have a `T* next`. It does not own them. Do not copy it while it is in use.
///
/// Thread safety:
/// - Any thread may push and pop at any time.
/// - Do not free or push a popped node again while another thread may be popping: that thread could
///   not tell it from the node it has seen.
///
/// Invariants:
/// 1. `head` is null or the newest node, and following `next` leads to the oldest.
/// 2. `count` is the number of nodes, except while pushes and pops are under way.
template <class T>
class Stack {
public:
    constexpr Stack() noexcept = default;

    /// Puts `node` on top.
    void push(T* node) {
        for (T* expected = top();;) {
            node->next = expected;
            T* const seen = exchangeTop(expected, node);
            if (seen == expected) break;
            expected = seen;
        }
        OS()->atomicServices()->increment(&count);
    }

    /// Removes and returns the top node, or null if there is none.
    T* pop() {
        for (T* expected = top(); expected;) {
            T* const seen = exchangeTop(expected, expected->next);
            if (seen == expected) {
                OS()->atomicServices()->decrement(&count);
                return seen;
            }
            expected = seen;
        }
        return nullptr;
    }

    /// The top node, without removing it; null if there is none.
    T* top() { return std::atomic_ref(head).load(std::memory_order_acquire); }

    T* head = nullptr;
    std::int32_t count = 0;

private:
    T* exchangeTop(T* expected, T* node) {
        void** const word = reinterpret_cast<void**>(&head);
        return static_cast<T*>(
            OS()->atomicServices()->compareExchangePointer(word, node, expected));
    }
};

}  // namespace Vorn::LockFree
