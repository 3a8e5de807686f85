// Keeps how often it was started in a settings file of its own.
//
// Usage: consumer FILE.ini

#include <exception>
#include <filesystem>
#include <iostream>

#include "Vorn/Exception.h"
#include "Vorn/Settings.h"
#include "Vorn/Version.h"

int main(int argc, char** argv) try {
    if (argc != 2) return std::cerr << "Usage: consumer FILE.ini\n", 2;
    const std::filesystem::path file = argv[1];
    Vorn::Settings settings;
    settings.load(file);  // There is no file at the first start.
    const int starts = settings.get("Consumer", "Starts", 0) + 1;
    settings.set("Consumer", "Starts", starts);
    if (!settings.save(file))
        return std::cerr << "consumer: " << argv[1] << " cannot be written\n", 1;
    std::cout << "Version " << vornDllVersionStr() << ", start " << starts << '\n';
} catch (const Vorn::Exception::Base& failure) {
    return std::cerr << "consumer: " << failure.msg() << '\n', 1;
} catch (const std::exception& failure) {
    return std::cerr << "consumer: " << failure.what() << '\n', 1;
}
