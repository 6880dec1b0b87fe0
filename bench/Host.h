// The gateway as a host calls it: directly, through function pointers.
#pragma once

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "Source.h"
#include "encoding/ZString.h"
#include "orvelgw.h"

/// The entries that are measured, found by their names.
struct Entries {
    explicit Entries(const ORVEL_ZFE* table);

    int32_t (*dsn_connect)(char*, zarray*) = nullptr;
    int32_t (*disconnect)(const zarray*, int32_t*) = nullptr;
    int32_t (*alloc_statement)(const zarray*, zarray*) = nullptr;
    int32_t (*drop_statement)(const zarray*, int32_t*) = nullptr;
    int32_t (*prepare)(const zarray*, ORVEL_EXSTR*, int32_t*) = nullptr;
    int32_t (*execute)(const zarray*, int32_t*) = nullptr;
    int32_t (*fetch)(const zarray*, int32_t*) = nullptr;
    int32_t (*fetch_rows)(const zarray*, int32_t, zarray*) = nullptr;
    int32_t (*get_one_row)(const zarray*, const zarray*, zarray*) = nullptr;
    int32_t (*get_data_ex)(const zarray*, int32_t, int32_t, int32_t, ORVEL_EXSTR*) = nullptr;
    int32_t (*close_cursor)(const zarray*, int32_t*) = nullptr;
    int32_t (*num_result_cols)(const zarray*, int32_t*) = nullptr;
    int32_t (*bind_parameter)(const zarray*, int32_t, int32_t, int32_t, int32_t, int32_t, int32_t,
                              int32_t, int32_t*) = nullptr;
    int32_t (*set_parameter)(const zarray*, ORVEL_EXSTR*, int32_t, int32_t*) = nullptr;
    int32_t (*set_connect_option)(const zarray*, int32_t, int32_t, int32_t*) = nullptr;
    int32_t (*transact)(const zarray*, int32_t, int32_t*) = nullptr;
    int32_t (*set_unicode_option)(int32_t, int32_t*) = nullptr;
    int32_t (*set_legacy_option)(int32_t, int32_t*) = nullptr;
    int32_t (*was_error)(int32_t*) = nullptr;
    int32_t (*get_last_sql_code)(int32_t*) = nullptr;
};

/// A handle as an argument.
class Handle {
public:
    const zarray* In() const { return reinterpret_cast<const zarray*>(&word_); }
    zarray* Out() { return reinterpret_cast<zarray*>(&word_); }
    SQLHANDLE Odbc() const
    {
        SQLHANDLE handle = nullptr;
        std::memcpy(&handle, In()->bytes, sizeof handle);
        return handle;
    }

private:
    alignas(2) unsigned char word_[2 + 8] = {8, 0};
};

/// A list as a long string, built once and passed as often as needed: this host's ReleaseLongString
/// releases nothing.
class LongString {
public:
    explicit LongString(std::string bytes = {}) : bytes_(std::move(bytes)) {}

    static LongString Integer(long value);
    static LongString Text(std::string_view text);
    static LongString Double(double value);

    ORVEL_EXSTR* In()
    {
        descriptor_ = {static_cast<uint32_t>(bytes_.size()), bytes_.data()};
        return &descriptor_;
    }

private:
    std::string bytes_;
    ORVEL_EXSTR descriptor_{};
};

/// The library, loaded, with a mode's options set. Unloaded by the destructor, which closes every
/// connection. A file is loaded once: two hosts at a time take number 0 and a copy, number 1.
class Host {
public:
    explicit Host(const Mode& mode, int number = 0);

    /// Connects; throws on failure.
    Handle Connect(const Source& source) const;
    Handle Statement(const Handle& connection) const;
    void SetAutocommit(const Handle& connection, bool on) const;
    void Prepare(const Handle& statement, const std::string& sql) const;
    /// An input parameter of usual size.
    void BindParameter(const Handle& statement, int number, int c_type, int sql_type) const;
    void Execute(const Handle& statement) const;
    void CloseCursor(const Handle& statement) const;

private:
    struct Unload {
        void operator()(void* library) const;
    };
    std::unique_ptr<void, Unload> library_;

public:
    const Entries call;
};

/// Throws if a precondition of a case is not met.
void Require(bool succeeded, std::string_view what);

/// A counted argument without bytes.
const zarray* EmptyArgument();

/// Room for the largest output, overwritten by every call.
zarray* OutputArea();
