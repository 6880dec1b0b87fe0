// A file that is written whole or not at all.
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

/// What is written takes the place of the file once it is kept, with the permissions of what was
/// there; until then it lies in a file of its own beside it, which goes with this object or with
/// the process. A link stays one, and need not lead to a file yet. A file that this user may not
/// write, or another user owns, is refused. A device, a pipe, or a file that is open already and
/// named as such (/dev/stdout, /dev/fd/3) is written as it comes. Throws FileError.
class OutputFile {
public:
    explicit OutputFile(const std::string& name);

    void Write(std::string_view bytes);
    void Keep();

    /// For those who write by themselves. Keep notices where that failed.
    std::FILE* Stream() const { return stream_.get(); }

private:
    struct Closing {
        void operator()(std::FILE* stream) const { std::fclose(stream); }
    };

    [[noreturn]] void Fail() const;
    int OpenPart(const struct stat* replaced);  // null: there is nothing to replace

    std::filesystem::path target_;
    std::optional<TemporaryPath> part_;  // nothing: it is written in its place
    std::unique_ptr<std::FILE, Closing> stream_;
};
