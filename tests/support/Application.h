// What applications do with the library. Each function returns what went wrong, or null.
#pragma once

#include <string>

#include "Vorn/Vorn.h"

namespace test {

inline const char* settingsWork(const std::string& folder) {
    const WString path = Vorn::WStringFromUTF8((folder + "/application.ini").c_str());
    VornIniFile written(true);
    written["Video"].emplace_back(String("Width"), String(1920), '=');
    if (!written.save(path)) return "the settings could not be saved";
    VornIniFile settings(path, true, false);
    const auto width = settings["Video"].begin();
    width->setValue(width->getValue() + "0");
    if (!settings.save(path)) return "the settings could not be saved again";
    const VornIniFile read(path, true, true);
    return read["Video"].front().getValue() == "19200" ? nullptr : "a setting was lost";
}

inline const char* textsWork() {
    Vector<String> fields;
    String("one,two,three").split(',', fields, 0);
    String joined;
    for (unsigned i = 0; i < fields.size(); ++i) joined += fields[i] + ";";
    const WString wide = Vorn::WStringFromUTF8(joined);
    CPUAlignedDelete(CPUAlignedNew(wide.size()));
    return joined == "one;two;three;" ? nullptr : "a field was lost";
}

inline const char* exceptionsWork() {
    try {
        Vorn::NamedObjectsNamespace::getGlobalNamespaceInstance()->create<int>("nothing", nullptr);
    } catch (const Vorn::Exception::RuntimeError& failure) {
        return failure.msg() ? nullptr : "the exception has no message";
    }
    return "the library threw nothing";
}

inline const char* applicationWorks(const std::string& folder) {
    if (const char* const failure = settingsWork(folder)) return failure;
    if (const char* const failure = textsWork()) return failure;
    return exceptionsWork();
}

}  // namespace test
