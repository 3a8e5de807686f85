#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "Vorn/String.h"
#include "Vorn/Vector.h"

namespace {

// Each step uses an element that may be the vector's own.
template <class T>
void follow() {
    std::mt19937 random(1);
    const auto pick = [&](std::size_t n) { return static_cast<unsigned>(random() % n); };
    Vector<T> v;
    std::vector<T> m;
    for (int step = 0; step < 20000; ++step) {
        if (pick(8) == 0) v = Vector<T>(v);
        const unsigned n = v.size(), at = pick(n + 1), to = pick(n + 1);
        const T fresh(std::wstring(pick(20), L'x').c_str()), &x = at < n ? v[at] : fresh, copy(x);
        const auto found = static_cast<unsigned>(std::ranges::find(m, x) - m.begin());
        const bool has = found < n;
        unsigned index = found;
        // What is called, what it returns, how many it adds in place of which.
        const std::tuple<std::function<unsigned()>, unsigned, bool, unsigned, unsigned> rows[] = {
            {[&] { return v.add(x); }, n, true, n, n},
            {[&] { return v.push_back(x); }, n, true, n, n},
            {[&] { return v.insert(x, to), 0; }, 0, true, to, to},
            {[&] { return v.intern(x, index = 0); }, !has, !has, n, n},
            {[&] { return v.locate(x, index = 0); }, has, false, n, n},
            {[&] { return v.removeIdx(to); }, to < n, false, to, std::min(to + 1, n)},
            {[&] { return v.removeItem(x); }, has, false, found, found + has},
            {[&] { return v.remove(at, to); }, 1, false, at, std::max(at, to)},
        };
        const auto& [edit, result, adds, from, end] = rows[pick(std::size(rows))];
        m.insert(m.erase(m.begin() + from, m.begin() + end), adds, copy);
        ASSERT_TRUE(edit() == result && index == found && std::ranges::equal(v, m)) << step;
    }
}

TEST(Vector, FollowsTheModel) {
    follow<WString>();
    follow<String>();
}

TEST(Vector, StorageDoublesFromFourAndMovesAsAWhole) {
    Vector<int> v, other;
    for (unsigned n = 1; n <= 100; ++n) {
        v.add(static_cast<int>(n));
        std::uint64_t words[3];
        std::memcpy(words, static_cast<const void*>(&v), sizeof v);
        EXPECT_EQ(words[1], reinterpret_cast<std::uintptr_t>(v.begin()));
        EXPECT_EQ(words[2], n + (std::uint64_t{std::max(4u, std::bit_ceil(n))} << 32));
    }
    const int* const data = v.begin();
    v.removeIdx(0), v.remove(90, 98);
    EXPECT_TRUE(data[90] == 100 && data[97] == 99 && data[98] == 100 && data[99] == 0);
    EXPECT_THROW(v.resizeFor((1u << 31) + 1), std::bad_alloc);
    v.resizeFor(128), v.consume(v), other.consume(v);
    EXPECT_TRUE(other.begin() == data && other.size() == 91 && other.getCapacity() == 128);
    EXPECT_TRUE(!v.begin() && !v.size() && !v.getCapacity());
    v.add(1), v.clear(), other.resizeFor(0);
    EXPECT_TRUE(!v.begin() && !v.getCapacity() && !other.begin() && !other.size());
}

struct Recorder : Vector<int> {
    unsigned add(const int& x) override { return calls += 'a', Vector::add(x); }
    bool locate(const int& x, unsigned& i) const override {
        return calls += 'l', Vector::locate(x, i);
    }
    void insert(const int& x, unsigned i) override { calls += 'i', Vector::insert(x, i); }
    bool removeIdx(unsigned i) override { return calls += 'r', Vector::removeIdx(i); }

    mutable std::string calls;
};

TEST(Vector, OperationsAreVirtualInTheirOrder) {
    long slot = 2;
    const auto isNext = [&](auto member) {
        return std::bit_cast<std::array<long, 2>>(member)[0] / 8 == slot++;
    };
    using V = Vector<int>;
    EXPECT_TRUE(isNext(&V::add) && isNext(&V::push_back) && isNext(&V::locate) &&
                isNext(&V::intern) && isNext(&V::insert) && isNext(&V::removeIdx) &&
                isNext(&V::remove) && isNext(&V::removeItem) && isNext(&V::clear) &&
                isNext(&V::consume));
    Recorder v;
    unsigned index;
    v.push_back(1), v.intern(2, index), v.removeItem(1);
    EXPECT_EQ(v.calls, "alilr");
}

}  // namespace
