// What is not to outlive the process.
#pragma once

#include <functional>
#include <string>

/// A file, a link, or a folder that is empty by then, which goes with this object, and with the
/// process where a signal ends that first. The last one made goes first.
class TemporaryPath {
public:
    /// make makes it and returns its path, empty where it can't; signals wait meanwhile.
    explicit TemporaryPath(const std::function<std::string()>& make);
    ~TemporaryPath();
    TemporaryPath(const TemporaryPath&) = delete;
    TemporaryPath& operator=(const TemporaryPath&) = delete;

    /// Empty where there is none, or it was let go.
    const std::string& Path() const { return path_; }

    /// Leaves it where it is, or to another name that it has by now.
    void LetGo();

    /// Removes all that there is of them. For the program's own handler of a signal that ends it.
    static void RemoveAll() noexcept;

private:
    std::string path_;
};
