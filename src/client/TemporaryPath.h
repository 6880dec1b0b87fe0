// Paths that must not outlive the process.
#pragma once

#include <functional>
#include <string>

/// A file, a link, or a folder that is empty by then, which is removed with this object, or when a
/// signal ends the process before. The last one created is removed first.
class TemporaryPath {
public:
    /// make creates it and returns its path, empty on failure; signals are blocked meanwhile.
    explicit TemporaryPath(const std::function<std::string()>& make);
    ~TemporaryPath();
    TemporaryPath(const TemporaryPath&) = delete;
    TemporaryPath& operator=(const TemporaryPath&) = delete;

    /// Empty if there is none, or if it was released.
    const std::string& Path() const { return path_; }

    /// Keeps it: it is no longer removed.
    void Release();

    /// Removes all of them. For the program's own handler of a signal that ends it.
    static void RemoveAll() noexcept;

private:
    std::string path_;
};
