#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <functional>
#include <random>
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
    unsigned peak = 0;
    for (int step = 0; step < 20000; ++step) {
        const unsigned n = v.size(), at = pick(n + 1), to = pick(n + 1);
        if (pick(8) == 0) v = Vector<T>(v), peak = n;
        const T fresh(std::wstring(pick(20), L'x').c_str()), &x = at < n ? v[at] : fresh, copy(x);
        const auto found = static_cast<unsigned>(std::ranges::find(m, x) - m.begin());
        const bool has = found < n;
        unsigned index = found;
        // What is called, what it returns, how many it adds in place of which.
        const std::tuple<std::function<unsigned()>, unsigned, bool, unsigned, unsigned> rows[] = {
            {[&] { return v.push_back(x); }, n, true, n, n},
            {[&] { return v.insert(x, to), 0; }, 0, true, to, to},
            {[&] { return v.intern(x, index = 0); }, !has, !has, n, n},
            {[&] { return v.removeIdx(to); }, to < n, false, to, std::min(to + 1, n)},
            {[&] { return v.removeItem(x); }, has, false, found, found + has},
            {[&] { return v.remove(at, to); }, 1, false, at, std::max(at, to)},
        };
        const auto& [edit, result, adds, from, end] = rows[pick(std::size(rows))];
        m.insert(m.erase(m.begin() + from, m.begin() + end), adds, copy);
        ASSERT_TRUE(edit() == result && index == found && std::ranges::equal(v, m)) << step;
        peak = std::max(peak, v.size());
        ASSERT_EQ(v.getCapacity(), peak > 0 ? std::max(4u, std::bit_ceil(peak)) : 0) << step;
    }
}

TEST(Vector, FollowsTheModel) {
    follow<WString>();
    follow<String>();
}

TEST(Vector, StorageMovesAsAWhole) {
    Vector<int> v, other;
    for (const int x : {1, 2, 3, 4, 5}) v.add(x);
    const int* const data = v.begin();
    v.removeIdx(0), v.remove(1, 2);
    EXPECT_TRUE(data[2] == 5 && data[3] == 5 && data[4] == 0);
    EXPECT_THROW(v.resizeFor((1u << 31) + 1), std::bad_alloc);
    v.consume(v), other.consume(v);
    EXPECT_TRUE(other.begin() == data && other.size() == 3 && other.getCapacity() == 8);
    EXPECT_TRUE(!v.begin() && !v.size() && !v.getCapacity());
}

}  // namespace
