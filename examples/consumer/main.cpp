// Keeps how often it was started in a configuration file of its own.
//
// Usage: consumer FILE.ini

#include <cstdio>
#include <exception>

#include "Vorn/String.h"
#include "Vorn/Version.h"
#include "Vorn/VornIniFile.h"
#include "Vorn/WStringUtils.h"

int main(int argc, char** argv) try {
    if (argc != 2) {
        std::fprintf(stderr, "Usage: consumer FILE.ini\n");
        return 2;
    }
    const WString path = Vorn::WStringFromUTF8(argv[1]);
    VornIniFile settings(path, true, false);
    auto& section = settings.getSection("Consumer");
    auto starts = VornIniFile::findBeginsWith("Starts", section, false, section.begin());
    if (starts == section.end()) starts = section.emplace(starts, "Starts=0", '=');
    starts->setValue(String(static_cast<int>(starts->getValue().asDouble()) + 1));
    if (!settings.save(path)) {
        std::fprintf(stderr, "consumer: %s cannot be written\n", argv[1]);
        return 1;
    }
    std::printf("Version %s, start %s\n", vornDllVersionStr(),
                static_cast<const char*>(starts->getValue()));
} catch (const std::exception& failure) {
    std::fprintf(stderr, "consumer: %s\n", failure.what());
    return 1;
}
