// What finding a named object costs, by the number of keys: a walk, beside a tree's descent and
// beside its floor: two checks, two locks, the walk and the comparison, made bare.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstring>
#include <list>
#include <map>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <typeindex>
#include <utility>

#include "Vorn/CRC.h"
#include "Vorn/VornNamedObjects.h"

namespace {

int object = 0;

struct Ours {
    // Without looking for the key first, which would walk all the others.
    void add(const std::string& name) { space.addListEntry_(typeid(int), name.c_str(), &object); }
    int* find(const char* name) { return space.find<int>(name); }

    Vorn::NamedObjectsNamespace space{"benchmark"};
};

struct Map {
    void add(const std::string& name) { names[{typeid(int), name}] = &object; }
    int* find(const char* name) {
        const std::shared_lock guard(lock);
        const auto found = names.find(std::pair(std::type_index(typeid(int)), std::string(name)));
        return found != names.end() ? static_cast<int*>(found->second) : nullptr;
    }

    std::shared_mutex lock;
    std::map<std::pair<std::type_index, std::string>, void*> names;
};

struct Floor {
    void add(const std::string& name) {
        entries.push_back(new Info(typeName, name.c_str(), &object));
    }
    int* find(const char* name) {
        const unsigned type = check(typeName), wanted = check(name);
        Info* found = nullptr;
        {
            const EasyCrit guard(listLock);
            const auto same = [&](const Info* info) {
                return info->typeNameCrc == type && info->objectNameCrc == wanted &&
                       std::strcmp(info->typeName, typeName) == 0 &&
                       std::strcmp(info->objectName, name) == 0;
            };
            found = *std::find_if(entries.begin(), entries.end(), same);
        }
        const EasyCrit guard(found->lock);
        return static_cast<int*>(found->object);
    }

    using Info = Vorn::NamedObjectInfo;
    static unsigned check(const char* text) {
        return Vorn::CRC::CalculateCRC32ForBlock(text, std::strlen(text));
    }
    const char* const typeName = typeid(int).name();
    CriticalSection listLock;
    std::list<Info*> entries;  // Never freed, as the registries.
};

// The key that was added last, of as many as the size says. Each registry is filled once.
template <class Registry>
void findObject(benchmark::State& state) {
    static std::map<std::int64_t, Registry> registries;
    const auto [entry, isNew] = registries.try_emplace(state.range(0));
    Registry& registry = entry->second;
    for (auto n = state.range(0); isNew && n > 0; --n) registry.add("Object " + std::to_string(n));
    for (auto _ : state) benchmark::DoNotOptimize(registry.find("Object 1"));
}
BENCHMARK_TEMPLATE(findObject, Ours)->RangeMultiplier(10)->Range(10, 100'000);
BENCHMARK_TEMPLATE(findObject, Ours)->Arg(25'000)->Arg(50'000);
BENCHMARK_TEMPLATE(findObject, Map)->RangeMultiplier(10)->Range(10, 100'000);
BENCHMARK_TEMPLATE(findObject, Floor)->Arg(10);

}  // namespace
