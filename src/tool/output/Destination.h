// Where results go.
#pragma once

#include <cstdio>
#include <optional>
#include <string>

#include "client/OutputFile.h"

/// Standard output, or a file that is written whole or not at all.
class Destination {
public:
    /// file: its name; empty for standard output. Throws FileError.
    explicit Destination(const std::string& file)
    {
        if (!file.empty()) {
            file_.emplace(file);
        }
    }

    std::FILE* Stream() const { return file_ ? file_->Stream() : stdout; }

    /// What was written stays. Throws FileError.
    void Keep()
    {
        if (file_) {
            file_->Commit();
        }
    }

private:
    std::optional<OutputFile> file_;
};
