// The driver that the shim forwards to.
#pragma once

#include <memory>
#include <string>
#include <string_view>

/// The driver that the shim's own file is named after: a file, or a link, named narrow-libmaodbc.so
/// stands for libmaodbc.so, which is looked for next to it and then where Debian keeps its ODBC
/// drivers; the other shim has its own prefixes. Loaded when the first function is called. There is
/// one per loaded file: the loader takes two links to one file for the same file, and the first
/// link's name counts.
class RealDriver {
public:
    static const RealDriver& Instance();
    RealDriver(const RealDriver&) = delete;
    RealDriver& operator=(const RealDriver&) = delete;

    /// A function of the driver, or null if it has none of that name, or if there is no driver.
    void* Find(const char* function) const;

    bool IsLoaded() const { return library_ != nullptr; }

    /// The prefix of the shim's file name, one of Prefixes(), and the driver's name after it. Empty
    /// for any other file name.
    std::string_view Prefix() const { return prefix_; }
    const std::string& Name() const { return name_; }

    /// Why there is no driver, with the files that were tried.
    const std::string& Failure() const { return failure_; }

private:
    RealDriver();
    ~RealDriver() = default;
    void Try(const std::string& file, const std::string& shim);

    struct Unload {
        void operator()(void* library) const;
    };

    std::unique_ptr<void, Unload> library_;
    std::string_view prefix_;
    std::string name_;
    std::string failure_;
};
