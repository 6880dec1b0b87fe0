// A file that is written completely or not at all.
#pragma once

#include <sys/stat.h>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "client/TemporaryPath.h"

/// A file can't be written; says which and why.
struct FileError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// Once committed, what was written replaces the file and takes over its permissions; until then it
/// is in a temporary file next to it, which is removed with this object or when the process ends. A
/// link stays a link, and its target need not exist yet. A file that this user may not write, or
/// that another user owns, is refused. A device, a pipe, or a file that is already open and named
/// as such (/dev/stdout, /dev/fd/3) is written directly. Throws FileError.
class OutputFile {
public:
    explicit OutputFile(const std::string& name);

    void Write(std::string_view bytes);
    void Commit();

    /// For those who write by themselves. Keep notices where that failed.
    std::FILE* Stream() const { return stream_.get(); }

private:
    struct Closing {
        void operator()(std::FILE* stream) const { std::fclose(stream); }
    };

    [[noreturn]] void Fail() const;
    int OpenPart(const struct stat* replaced);  // null: there is nothing to replace

    std::filesystem::path target_;
    std::optional<TemporaryPath> part_;  // nothing: the file is written directly
    std::unique_ptr<std::FILE, Closing> stream_;
};
