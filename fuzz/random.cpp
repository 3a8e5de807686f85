// Runs a target on random inputs where no fuzzer is linked: PROGRAM SEEDS [INPUTS]. Half of the
// bytes are as frequent as in the seeds, the files in that folder.
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <random>

#include "fuzz/FuzzInput.h"

int main(int, char** argv) {
    std::string usual;
    for (const auto& seed : std::filesystem::directory_iterator(argv[1]))
        usual.append(std::istreambuf_iterator<char>(std::ifstream(seed.path()).rdbuf()), {});
    const int inputs = argv[2] ? std::stoi(argv[2]) : 20'000;
    std::mt19937 random(1);
    std::string input;
    for (int n = 0; n < inputs; ++n) {
        input.resize(random() % 250);
        for (char& c : input)
            c = random() % 2 ? usual[random() % usual.size()] : static_cast<char>(random());
        LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(input.data()), input.size());
    }
    std::cout << inputs << " inputs, no find\n";
}
