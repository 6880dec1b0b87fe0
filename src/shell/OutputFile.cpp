#include "shell/OutputFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

OutputFile::OutputFile(const std::string& name) : target_(name)
{
    struct stat found {};
    const bool exists = ::stat(name.c_str(), &found) == 0;
    if (exists && !S_ISREG(found.st_mode)) {
        descriptor_ = ::open(name.c_str(), O_WRONLY | O_CLOEXEC);
    } else {
        std::error_code none;
        const auto whole = std::filesystem::weakly_canonical(target_, none);
        target_ = none ? target_ : whole;
        part_ = target_.string() + ".XXXXXX";
        descriptor_ = ::mkostemp(part_.data(), O_CLOEXEC);
        if (descriptor_ < 0) {
            part_.clear();
        }
    }
    if (descriptor_ < 0) {
        Fail();
    }
    if (!part_.empty()) {
        const mode_t mask = ::umask(0);
        ::umask(mask);
        constexpr mode_t kReadAndWrite = 0666;
        ::fchmod(descriptor_, exists ? found.st_mode : kReadAndWrite & ~mask);
    }
}

OutputFile::~OutputFile()
{
    ::close(descriptor_);
    if (!part_.empty()) {
        ::unlink(part_.c_str());
    }
}

void OutputFile::Fail() const
{
    throw FileError(target_.string() + ": " + std::generic_category().message(errno));
}

void OutputFile::Write(std::string_view bytes)
{
    while (!bytes.empty()) {
        const ssize_t written = ::write(descriptor_, bytes.data(), bytes.size());
        if (written < 0 && errno != EINTR) {
            Fail();
        }
        bytes.remove_prefix(written > 0 ? static_cast<std::size_t>(written) : 0);
    }
}

void OutputFile::Keep()
{
    if (!part_.empty()) {
        if (::fsync(descriptor_) != 0 || ::rename(part_.c_str(), target_.c_str()) != 0) {
            Fail();
        }
        part_.clear();
    }
}
