// Blocks and texts of whoever includes this: each side has its own operators and its own runtime.
#pragma once

#include <cstddef>
#include <sstream>
#include <string>

namespace {

void* makesBlock(std::size_t bytes) {
    return new char[bytes]();
}

void freesBlock(void* block) {
    delete[] static_cast<char*>(block);
}

void* makesText() {
    return new std::string(100, 'm');
}

const char* growsText(void* text) {
    auto& string = *static_cast<std::string*>(text);
    const std::size_t wanted = 2 * string.size() + 5000;
    std::istringstream input(std::string(wanted, 'g'));
    std::getline(input, string);
    return string.size() == wanted ? nullptr : "the text did not grow";
}

void freesText(void* text) {
    delete static_cast<std::string*>(text);
}

}  // namespace
