// The driver behind the shim.
#pragma once

#include <memory>
#include <string>
#include <string_view>

/// The driver that the shim's own file is named after: a file, or a link, of the name
/// narrow-libmaodbc.so stands for libmaodbc.so, looked for beside it and then where Debian keeps
/// its ODBC drivers; the other shim has prefixes of its own. Loaded when the first function is
/// called. One for each file that is loaded: two links to one file are one file to the loader, and
/// the first link's name counts.
class RealDriver {
public:
    static const RealDriver& Instance();
    RealDriver(const RealDriver&) = delete;
    RealDriver& operator=(const RealDriver&) = delete;

    /// A function of the driver, or null where it has none of that name, or there is no driver.
    void* Find(const char* function) const;

    bool IsLoaded() const { return library_ != nullptr; }

    /// What the shim's file begins with, one of Prefixes(); and the driver's name behind it. Empty
    /// where the file is named otherwise.
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
