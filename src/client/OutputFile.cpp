#include "client/OutputFile.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <system_error>

namespace fs = std::filesystem;

namespace {

// A path with the links in its last component followed, except those of /proc, which stand for a
// file that a process has open.
fs::path Followed(fs::path path)
{
    constexpr int kMaxLinks = 40;
    std::error_code error;
    for (int links = 0; links < kMaxLinks && fs::is_symlink(path, error); ++links) {
        const fs::path folder = path.parent_path();
        struct statfs system {};
        if (::statfs(folder.empty() ? "." : folder.c_str(), &system) != 0 ||
            system.f_type == PROC_SUPER_MAGIC) {
            break;
        }
        path = folder / fs::read_symlink(path, error);
    }
    return path;
}

// The descriptor of this process that a path refers to, or -1.
int DescriptorOf(const fs::path& path)
{
    int number = -1;
    std::error_code error;
    if (fs::equivalent(path.parent_path(), "/proc/self/fd", error)) {
        const std::string name = path.filename();
        std::from_chars(name.data(), name.data() + name.size(), number);
    }
    return number;
}

// Another descriptor for the same open file, if it is writable.
int Duplicate(int descriptor)
{
    const int flags = ::fcntl(descriptor, F_GETFL);
    if (flags >= 0 && (flags & O_ACCMODE) == O_RDONLY) {
        errno = EBADF;
        return -1;
    }
    return ::fcntl(descriptor, F_DUPFD_CLOEXEC, 0);
}

// Gives a new file the group and the permissions of the one it replaces. If the group can't be set,
// its permissions are dropped; set-ID bits are never applied to new contents.
void TakeOver(const struct stat& replaced, int descriptor)
{
    const bool has_group = ::fchown(descriptor, static_cast<uid_t>(-1), replaced.st_gid) == 0;
    const mode_t permissions = S_IRWXU | S_IRWXO | (has_group ? S_IRWXG : 0U);
    ::fchmod(descriptor, replaced.st_mode & permissions);
}

}  // namespace

OutputFile::OutputFile(const std::string& name) : target_(Followed(name))
{
    struct stat found {};
    const bool exists = ::stat(name.c_str(), &found) == 0;
    if (!exists && (errno != ENOENT || name.empty())) {
        Fail();
    }
    std::error_code error;
    int descriptor = -1;
    const bool is_open_file = fs::is_symlink(target_, error);
    if (const int number = is_open_file ? DescriptorOf(target_) : -1; number >= 0) {
        descriptor = Duplicate(number);
    } else if (is_open_file) {
        descriptor = ::open(name.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
    } else if (exists && !S_ISREG(found.st_mode)) {
        descriptor = ::open(name.c_str(), O_WRONLY | O_CLOEXEC);
    } else {
        descriptor = OpenPart(exists ? &found : nullptr);
    }
    if (descriptor < 0) {
        Fail();
    }
    stream_.reset(::fdopen(descriptor, "w"));
    if (stream_ == nullptr) {
        ::close(descriptor);
        Fail();
    }
}

int OutputFile::OpenPart(const struct stat* replaced)
{
    if (replaced != nullptr && ::eaccess(target_.c_str(), W_OK) != 0) {
        Fail();
    }
    if (replaced != nullptr && replaced->st_uid != ::geteuid()) {
        throw FileError(target_.string() + ": it is another user's, and not replaced");
    }
    int descriptor = -1;
    part_.emplace([&] {
        std::string path = target_.string() + ".XXXXXX";
        descriptor = ::mkostemp(path.data(), O_CLOEXEC);
        return descriptor < 0 ? "" : path;
    });
    if (descriptor < 0) {
        Fail();
    }
    if (replaced != nullptr) {
        TakeOver(*replaced, descriptor);
    } else {
        const mode_t mask = ::umask(0);
        ::umask(mask);
        constexpr mode_t kReadAndWrite = 0666;
        ::fchmod(descriptor, kReadAndWrite & ~mask);
    }
    return descriptor;
}

void OutputFile::Fail() const
{
    throw FileError(target_.string() + ": " + std::generic_category().message(errno));
}

void OutputFile::Write(std::string_view bytes)
{
    if (std::fwrite(bytes.data(), 1, bytes.size(), Stream()) != bytes.size()) {
        Fail();
    }
}

void OutputFile::Commit()
{
    if (std::ferror(Stream()) != 0) {
        throw FileError(target_.string() + ": not all of it could be written");
    }
    if (std::fflush(Stream()) != 0) {
        Fail();
    }
    if (part_) {
        if (::fsync(::fileno(Stream())) != 0 ||
            ::rename(part_->Path().c_str(), target_.c_str()) != 0) {
            Fail();
        }
        part_->Release();
    }
}
