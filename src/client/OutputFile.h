// A file that is written whole or not at all.
#pragma once

#include <sys/stat.h>

#include <filesystem>
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
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    void Write(std::string_view bytes);
    void Keep();

private:
    [[noreturn]] void Fail() const;
    void OpenPart(const struct stat* replaced);  // null: there is nothing to replace

    std::filesystem::path target_;
    std::optional<TemporaryPath> part_;  // nothing: it is written in its place
    int descriptor_ = -1;
};
