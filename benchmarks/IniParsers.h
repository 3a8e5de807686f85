// Our INI file and its peers behind one face: each loads a file when it is built and keeps a model
// of it. Some can also save it or look a setting up by its key.
#pragma once

#include <fstream>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#ifdef VORN_PEER_OURS
#include "Vorn/Settings.h"
#include "Vorn/VornIniFile.h"
#include "Vorn/WStringUtils.h"
#endif
#ifdef VORN_PEER_GLIB
#include <glib.h>
#endif
#ifdef VORN_PEER_QT
#include <QSettings>
#endif
#ifdef VORN_PEER_BOOST
#include <boost/property_tree/ini_parser.hpp>
#endif
#ifdef VORN_PEER_INIH
#include <ini.h>
#endif
#ifdef VORN_PEER_SIMPLEINI
#define SI_NO_CONVERSION
#include <SimpleIni.h>
#endif

namespace {

// What the program does with each parser; called before `main`.
template <class Parser>
bool use(const std::string& name);

// A file of about `size` bytes as programs write them: sections of twenty settings and a comment.
std::string sampleText(std::size_t size) {
    static const char* const names[] = {
        "Width",      "Height",     "FrameRate", "FieldOrder", "PixelFormat", "Scaler",   "Device",
        "SampleRate", "Channels",   "DelayInMs", "OutputPath", "KeepDays",    "Timecode", "BitRate",
        "Codec",      "ReviewedBy", "Language",  "LastChange", "WarnBelowMB", "Enabled"};
    static const char* const values[] = {"1920 unless changed", "Studio Central, input",
                                         "/media/recordings/desk", "automatic"};
    std::string text;
    for (unsigned section = 0, line = 0; text.size() < size; ++section) {
        text += "[Input " + std::to_string(section) + "]\r\n# How this input is set up\r\n";
        for (const std::string name : names) {
            text += name + " = " + values[line % 4] + ' ' + std::to_string(line) + "\r\n";
            ++line;
        }
    }
    return text;
}

void require(bool done) {
    if (!done) throw std::runtime_error("the file could not be loaded or saved");
}

#ifdef VORN_PEER_OURS
struct Ours {
    struct Key {
        Key(const char* s, const char* n) : section(s), name(n) {}
        String section, name;
    };

    explicit Ours(const char* path) : file(Vorn::WStringFromUTF8(path), true, true) {}
    void save(const char* path) { require(file.save(Vorn::WStringFromUTF8(path))); }
    bool find(const Key& key) const {
        const VornIniFile::Entries& section = file.getSection(key.section);
        const auto found = VornIniFile::findBeginsWith(key.name, section, true, section.begin());
        return found != section.end() && String(found->getValue()).size() > 0;
    }

    VornIniFile file;
};
const bool usesOurs = use<Ours>("Ours");

struct Settings {
    using Key = std::pair<std::string, std::string>;

    explicit Settings(const char* path) { require(file.load(Vorn::WStringFromUTF8(path))); }
    void save(const char* path) const { require(file.save(Vorn::WStringFromUTF8(path))); }
    bool find(const Key& key) const { return file.find(key.first, key.second).has_value(); }
    void set(const Key& key, const char* value) { file.set(key.first, key.second, value); }

    Vorn::Settings file{Vorn::Case::exact};
};
const bool usesSettings = use<Settings>("Settings");
#endif

#ifdef VORN_PEER_GLIB
struct GLib {
    using Key = std::pair<std::string, std::string>;
    using Text = std::unique_ptr<gchar, decltype(&g_free)>;

    explicit GLib(const char* path) {
        require(g_key_file_load_from_file(file.get(), path, G_KEY_FILE_NONE, nullptr));
    }
    void save(const char* path) const {
        gsize size = 0;
        const Text text(g_key_file_to_data(file.get(), &size, nullptr), g_free);
        std::ofstream(path).write(text.get(), static_cast<std::streamsize>(size));
    }
    bool find(const Key& key) const {
        const char *const section = key.first.c_str(), *const name = key.second.c_str();
        return Text(g_key_file_get_value(file.get(), section, name, nullptr), g_free) != nullptr;
    }
    void set(const Key& key, const char* value) {
        g_key_file_set_value(file.get(), key.first.c_str(), key.second.c_str(), value);
    }

    std::unique_ptr<GKeyFile, decltype(&g_key_file_free)> file{g_key_file_new(), g_key_file_free};
};
const bool usesGLib = use<GLib>("GLib");
#endif

#ifdef VORN_PEER_BOOST
struct Boost {
    explicit Boost(const char* path) { boost::property_tree::read_ini(path, tree); }
    void save(const char* path) const { boost::property_tree::write_ini(path, tree); }

    boost::property_tree::ptree tree;
};
const bool usesBoost = use<Boost>("Boost");
#endif

#ifdef VORN_PEER_INIH
struct Inih {
    using Sections = std::map<std::string, std::vector<std::pair<std::string, std::string>>>;

    explicit Inih(const char* path) { require(ini_parse(path, &add, &sections) == 0); }
    static int add(void* model, const char* section, const char* name, const char* value) {
        (*static_cast<Sections*>(model))[section].emplace_back(name, value);
        return 1;
    }

    Sections sections;
};
const bool usesInih = use<Inih>("Inih");
#endif

#ifdef VORN_PEER_SIMPLEINI
struct SimpleIni {
    explicit SimpleIni(const char* path) { require(file.LoadFile(path) == SI_OK); }

    CSimpleIniCaseA file;
};
const bool usesSimpleIni = use<SimpleIni>("SimpleIni");
#endif

#ifdef VORN_PEER_QT
// With everything read, since it decodes values late. Within a process it keeps what it has loaded.
struct Qt {
    struct Key : QString {
        Key(const std::string& section, const char* name)
            : QString(QString::fromStdString(section + '/' + name)) {}
    };

    explicit Qt(const char* path) : file(QString::fromUtf8(path), QSettings::IniFormat) {
        const QStringList keys = file.allKeys();
        require(!keys.isEmpty());
        for (const QString& key : keys) require(file.value(key).isValid());
    }
    bool find(const Key& key) const { return file.value(key).isValid(); }

    QSettings file;
};
const bool usesQt = use<Qt>("Qt");
#endif

}  // namespace
