#include "platform/posix/Services.h"

namespace posix {
namespace {

class FileServices final : public iFileServices {
public:
    Vorn::Ptr<iFile> openFile(const WString& path, int a, int b, int c, int d) override {
        const UTF8String name = textServices->utf8FromWide(path);
        if (name.find('\0') != UTF8String::npos) return {};  // The system would cut it there.
        if (a == 0 && b == 0 && c == 1 && d == 0) return openForReading(name);
        if (a == 1 && b == 3 && c == 0 && d == 0) return openForWriting(name);
        return {};
    }
    wchar_t pathSeparator() override { return L'/'; }
};

constexpr NeverDestroyed<FileServices> services;

}  // namespace

iFileServices* const fileServices = &services.object;

}  // namespace posix
