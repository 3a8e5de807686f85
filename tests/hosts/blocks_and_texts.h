// Blocks and texts of whoever includes this: each side has its own operators and its own runtime.
#pragma once

#include <cstddef>
#include <sstream>
#include <string>

#include "tests/hosts/module.h"

namespace {

const char* growsText(void* text) {
    auto& string = *static_cast<std::string*>(text);
    const std::size_t wanted = 2 * string.size() + 5000;
    std::istringstream input(std::string(wanted, 'g'));
    std::getline(input, string);
    return string.size() == wanted ? nullptr : "the text did not grow";
}

constexpr Host ownSide = {
    [](std::size_t bytes) -> void* { return new char[bytes](); },
    [](void* block) { delete[] static_cast<char*>(block); },
    []() -> void* { return new std::string(100, 'm'); },
    growsText,
    [](void* text) { delete static_cast<std::string*>(text); },
    nullptr,
};

}  // namespace
