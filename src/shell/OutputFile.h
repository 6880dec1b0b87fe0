// A file that is written whole or not at all.
#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>

/// A file can't be written; says which and why.
struct FileError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// What is written takes the place of the file once it is kept, with the mode of what was there; a
/// link stays one. Until then it lies in a file of its own beside it, which goes with this object.
/// A device or a pipe is written as it comes. Throws FileError.
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

    std::filesystem::path target_;
    std::string part_;  // empty: there is none, or it was kept
    int descriptor_ = -1;
};
