#include <dirent.h>
#include <fcntl.h>
#include <limits.h>
#include <sys/file.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>
#ifdef __APPLE__
#include <copyfile.h>
#else
#include <sys/xattr.h>
#endif

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/posix/Services.h"

namespace posix {
namespace {

constexpr int kAnyOpen = O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
constexpr std::size_t kMostAtOnce = std::size_t{1} << 30;  // macOS refuses 2 GiB.

// Makes a system call again for as long as signals interrupt it. Every other failure is the
// caller's: -1, and the reason in `errno`.
template <class Call>
auto retried(Call call) {
    auto result = call();
    while (result == -1 && errno == EINTR) result = call();
    return result;
}

// Owns an open descriptor; a negative number is none.
class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int opened) : number(opened) {}
    Descriptor(Descriptor&& other) noexcept : number(std::exchange(other.number, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(number, other.number);
        return *this;
    }
    ~Descriptor() { close(); }

    // An interrupted call has given up the number too, so it is never repeated.
    bool close() {
        const int closed = release();
        return closed < 0 || ::close(closed) == 0 || errno == EINTR;
    }

    int release() { return std::exchange(number, -1); }
    explicit operator bool() const { return number >= 0; }
    int get() const { return number; }

private:
    int number = -1;
};

Descriptor openDescriptor(int folder, const char* path, int flags, mode_t mode = 0) {
    return Descriptor(retried([=] { return ::openat(folder, path, flags, mode); }));
}

struct CloseListing {
    void operator()(DIR* listing) const noexcept { ::closedir(listing); }
};

bool writeAll(const Descriptor& file, const char* data, std::size_t bytes) {
    while (bytes > 0) {
        const ssize_t count =
            retried([&] { return ::write(file.get(), data, std::min(bytes, kMostAtOnce)); });
        if (count <= 0) return false;
        data += count;
        bytes -= static_cast<std::size_t>(count);
    }
    return true;
}

class FileReader final : public Counted<iFile> {
public:
    explicit FileReader(Descriptor opened) : file(std::move(opened)) {}

    unsigned read(void* buffer, unsigned bytes) override {
        unsigned total = 0;
        while (total < bytes) {
            char* const rest = static_cast<char*>(buffer) + total;
            const std::size_t wanted = std::min<std::size_t>(bytes - total, kMostAtOnce);
            const ssize_t count = retried([&] { return ::read(file.get(), rest, wanted); });
            if (count < 0) return 0;
            if (count == 0) break;
            total += static_cast<unsigned>(count);
        }
        return total;
    }
    unsigned write(const void*, unsigned) override { return 0; }
    std::uint64_t size() override {
        struct stat status;
        return ::fstat(file.get(), &status) == 0 ? static_cast<std::uint64_t>(status.st_size) : 0;
    }

private:
    Descriptor file;
};

// What is left of `path` when the links at its end have been followed; the last one may lead to
// nothing. Empty if they do not end.
UTF8String followLinks(UTF8String path) {
    constexpr int kMostLinks = 40;
    char text[PATH_MAX];
    for (int links = 0; links < kMostLinks; ++links) {
        const ssize_t length = ::readlink(path.c_str(), text, sizeof text);
        if (length < 0) return path;
        path.erase(text[0] == '/' ? 0 : path.rfind('/') + 1);
        path.append(text, static_cast<std::size_t>(length));
    }
    return {};  // GCOVR_EXCL_LINE: only links that change meanwhile lead here.
}

// A file that is written anew must never be lost to a full disk, a crash or a power cut halfway.
// So it is written to a temporary file beside its target, which others see unchanged meanwhile, and
// takes the target's place in one step when it is complete and on the disk; an error discards it.
// The folder is kept open, so that a change of the working folder between does no harm, and goes to
// the disk last, since the new name is kept there.
// What a kill or a power cut leaves is removed by the next save of the same target. A temporary
// file is locked from its creation until it is renamed, and a lock ends with its process.
// Renaming makes a new file, so it is not done where that would show: a file with several names, or
// of an owner or with attributes that cannot be given to another file, or mounted by itself, or in
// a folder that takes no new file, and whatever is no regular file, is written in place. This is
// settled before the first byte.
class FileWriter final : public Counted<iFile> {
public:
    // cppcheck-suppress uninitMemberVar; the buffer is filled as it is used.
    explicit FileWriter(const UTF8String& target) : path(target) {}
    ~FileWriter() override {
        if (file) finish();
    }

    // False if the file cannot be written; nothing has changed on the disk then.
    bool open();

    unsigned read(void*, unsigned) override { return 0; }
    unsigned write(const void* data, unsigned bytes) override;
    std::uint64_t size() override { return taken; }

private:
    bool openTemporary(mode_t mode);
    bool lockTemporary() const;
    void removeAbandoned() const;
    bool resemble(const struct stat& old);
    bool openInPlace(Descriptor target, const struct stat& old);
    bool transfer(const char* data, std::size_t bytes);
    bool flush() { return transfer(buffer, std::exchange(used, 0)); }
    void finish();
    void discard();

    UTF8String path;  // Without links at its end from when the temporary file is to be made.
    std::size_t nameAt = 0;
    Descriptor folder;
    Descriptor file;
    char temporary[40] = "";  // The file's name in the folder; none when it is written in place.
    bool failed = false;
    std::uint64_t taken = 0;
    std::size_t used = 0;
    char buffer[64 * 1024];
};

// Whether something is mounted on the file itself: no other file can take its place then.
#ifdef STATX_ATTR_MOUNT_ROOT
bool isMountPoint(const Descriptor& file) {
    struct statx status;
    return ::statx(file.get(), "", AT_EMPTY_PATH, STATX_BASIC_STATS, &status) == 0 &&
           (status.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0;
}
#else
bool isMountPoint(const Descriptor&) {
    return false;
}
#endif

#ifdef __APPLE__
// `fsync` leaves the bytes in the disk's own memory. Not every file system can do better.
bool sync(const Descriptor& file) {
    return retried([&] { return ::fcntl(file.get(), F_FULLFSYNC); }) == 0 ||
           (errno != EIO && retried([&] { return ::fsync(file.get()); }) == 0);
}

// Access lists are carried over with the attributes.
bool hasAccessList(const Descriptor&) {
    return false;
}

class Attributes {
public:
    bool readFrom(const Descriptor& old) {
        source = old.get();
        return true;
    }
    bool giveTo(const Descriptor& made) const {
        return source < 0 ||
               ::fcopyfile(source, made.get(), nullptr, COPYFILE_ACL | COPYFILE_XATTR) == 0;
    }

private:
    int source = -1;
};
#else
bool sync(const Descriptor& file) {
    return retried([&] { return ::fsync(file.get()); }) == 0;
}

// Whether more than the mode says who may use the file: only the file itself keeps that.
bool hasAccessList(const Descriptor& file) {
    return ::fgetxattr(file.get(), "system.posix_acl_access", nullptr, 0) > 0;
}

// What users have attached to a file. It is read before another file is made, since that allocates.
class Attributes {
public:
    // False if there is one that the caller may not read.
    bool readFrom(const Descriptor& old) {
        const ssize_t length = ::flistxattr(old.get(), nullptr, 0);
        if (length <= 0) return length == 0 || errno == ENOTSUP;
        UTF8String names(static_cast<std::size_t>(length), '\0');
        if (::flistxattr(old.get(), names.data(), names.size()) != length) return false;
        for (std::size_t at = 0; at < names.size(); at = names.find('\0', at) + 1) {
            const char* const name = names.c_str() + at;
            if (!std::string_view(name).starts_with("user.")) continue;
            const ssize_t size = ::fgetxattr(old.get(), name, nullptr, 0);
            if (size < 0) return false;
            UTF8String value(static_cast<std::size_t>(size), '\0');
            if (::fgetxattr(old.get(), name, value.data(), value.size()) != size) return false;
            read.emplace_back(name, std::move(value));
        }
        return true;
    }
    bool giveTo(const Descriptor& made) const {
        return std::all_of(read.begin(), read.end(), [&](const auto& attribute) {
            const auto& [name, value] = attribute;
            return ::fsetxattr(made.get(), name.c_str(), value.data(), value.size(), 0) == 0;
        });
    }

private:
    std::vector<std::pair<UTF8String, UTF8String> > read;
};
#endif

// The target is opened, not only looked at: so it is the system that says whether the caller may
// write it, and a pipe without reader is refused instead of waited for.
bool FileWriter::open() {
    Descriptor target = openDescriptor(AT_FDCWD, path.c_str(), O_WRONLY | kAnyOpen);
    if (!target && errno != ENOENT) return false;
    struct stat old {};
    if (target && ::fstat(target.get(), &old) != 0) return false;
    Attributes attributes;
    const bool replaceable = S_ISREG(old.st_mode) && old.st_nlink == 1 && !isMountPoint(target) &&
                             !hasAccessList(target) && attributes.readFrom(target);
    if (target && !replaceable) return openInPlace(std::move(target), old);
    if (openTemporary(target ? S_IRUSR | S_IWUSR : 0666)) {
        errno = 0;
        if (!target || (attributes.giveTo(file) && resemble(old))) return true;
        const bool noRoom = errno == ENOSPC || errno == EDQUOT;
        discard();
        if (noRoom) return false;  // In place the old bytes would be lost.
    } else if (errno != EACCES && errno != EPERM && errno != EROFS) {
        return false;
    }
    return openInPlace(std::move(target), old);
}

// Tells the temporary files of one target from those of all others: FNV-1a.
std::uint64_t hashOf(const char* name) {
    std::uint64_t hash = 0xcbf29ce484222325;
    for (; *name; ++name) hash = (hash ^ static_cast<unsigned char>(*name)) * 0x100000001b3;
    return hash;
}

// The random name and O_EXCL keep anyone from planting a link there. A new file gets its mode from
// the system, which knows the mask.
bool FileWriter::openTemporary(mode_t mode) {
    path = followLinks(std::move(path));
    nameAt = path.rfind('/') + 1;
    if (nameAt == path.size()) return false;
    const UTF8String folderPath = nameAt > 0 ? path.substr(0, nameAt) : UTF8String(".");
    folder = openDescriptor(AT_FDCWD, folderPath.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    std::uint64_t random;
    if (!folder || ::getentropy(&random, sizeof random) != 0) return false;
    const unsigned long long target = hashOf(path.c_str() + nameAt);
    do {
        std::snprintf(temporary, sizeof temporary, ".vorn-%016llx-%016llx", target,
                      static_cast<unsigned long long>(random++));
        file =
            openDescriptor(folder.get(), temporary, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
    } while (file ? !lockTemporary() : errno == EEXIST);
    if (file)
        removeAbandoned();
    else
        temporary[0] = '\0';
    return static_cast<bool>(file);
}

// False if another save took the file for an abandoned one before it was locked: that save holds
// the lock, or has removed the file. Where the system has no locks, nobody gets one.
bool FileWriter::lockTemporary() const {
    struct stat status;
    return (::flock(file.get(), LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK) &&
           ::fstatat(folder.get(), temporary, &status, AT_SYMLINK_NOFOLLOW) == 0;
}

// Whoever gets the lock of a temporary file knows that no process is writing it. A name is never
// used twice, so that it is still the same file then.
void FileWriter::removeAbandoned() const {
    constexpr std::size_t kDigits = 16;
    constexpr std::size_t kDigitsAt = sizeof temporary - 1 - kDigits;
    Descriptor listed = openDescriptor(folder.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const std::unique_ptr<DIR, CloseListing> entries(::fdopendir(listed.get()));
    if (!entries) return;
    listed.release();
    // NOLINTNEXTLINE(concurrency-mt-unsafe): no other thread reads this listing.
    while (const dirent* const entry = ::readdir(entries.get())) {
        const char* const name = entry->d_name;
        if (std::strncmp(name, temporary, kDigitsAt) != 0 || std::strcmp(name, temporary) == 0 ||
            std::strspn(name + kDigitsAt, "0123456789abcdef") != kDigits ||
            name[sizeof temporary - 1] != '\0')
            continue;
        const Descriptor left =
            openDescriptor(folder.get(), name, O_WRONLY | O_NOFOLLOW | kAnyOpen);
        struct stat status;
        if (left && ::fstat(left.get(), &status) == 0 && S_ISREG(status.st_mode) &&
            ::flock(left.get(), LOCK_EX | LOCK_NB) == 0)
            ::unlinkat(folder.get(), name, 0);
    }
}

// The owner first: a change of it clears bits of the mode.
bool FileWriter::resemble(const struct stat& old) {
    struct stat made;
    if (::fstat(file.get(), &made) != 0 || made.st_dev != old.st_dev) return false;
    if (hasAccessList(file)) return false;
    const bool sameOwner = made.st_uid == old.st_uid && made.st_gid == old.st_gid;
    return (sameOwner || ::fchown(file.get(), old.st_uid, old.st_gid) == 0) &&
           ::fchmod(file.get(), old.st_mode & 07777) == 0;
}

bool FileWriter::openInPlace(Descriptor target, const struct stat& old) {
    file = target ? std::move(target)
                  : openDescriptor(AT_FDCWD, path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | kAnyOpen,
                                   0666);
    const bool blocking = file && ::fcntl(file.get(), F_SETFL, 0) == 0;
    return blocking &&
           (!S_ISREG(old.st_mode) || retried([this] { return ::ftruncate(file.get(), 0); }) == 0);
}

unsigned FileWriter::write(const void* data, unsigned bytes) {
    const auto* const text = static_cast<const char*>(data);
    if (bytes > sizeof buffer - used) flush();
    if (bytes > sizeof buffer) {
        transfer(text, bytes);
    } else {
        std::copy_n(text, bytes, buffer + used);
        used += bytes;
    }
    if (failed) return 0;
    taken += bytes;
    return bytes;
}

bool FileWriter::transfer(const char* data, std::size_t bytes) {
    failed = failed || !writeAll(file, data, bytes);
    return !failed;
}

void FileWriter::finish() {
    const bool written = flush() && sync(file);
    if (!temporary[0]) return;
    // Closing may still tell of an error; the lock is needed until the name is gone.
    const Descriptor lock(::fcntl(file.get(), F_DUPFD_CLOEXEC, 0));
    const bool closed = !lock || file.close();
    const char* const name = path.c_str() + nameAt;
    if (written && closed && ::renameat(folder.get(), temporary, folder.get(), name) == 0)
        sync(folder);
    else
        discard();
}

void FileWriter::discard() {
    ::unlinkat(folder.get(), temporary, 0);
    temporary[0] = '\0';
    file.close();
}

}  // namespace

Vorn::Ptr<iFile> openForReading(const UTF8String& path) {
    Descriptor file = openDescriptor(AT_FDCWD, path.c_str(), O_RDONLY | kAnyOpen);
    struct stat status;
    if (!file || ::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) return {};
    return (new FileReader(std::move(file)))->handOver();
}

// The writer has all the memory it needs before anything is changed on the disk.
Vorn::Ptr<iFile> openForWriting(const UTF8String& path) {
    auto writer = std::make_unique<FileWriter>(path);
    if (!writer->open()) return {};
    return writer.release()->handOver();
}

}  // namespace posix
