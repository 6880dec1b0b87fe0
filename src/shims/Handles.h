// What the wide shim knows about the driver's handles.
#pragma once

#include <sql.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <shared_mutex>
#include <unordered_map>

#include "shims/Diagnosis.h"
#include "shims/Statement.h"

/// Statements, and diagnostics of other handles, by the driver's own handles, which the shim passes
/// on unchanged.
class Handles {
public:
    static Handles& Instance();

    /// A statement allocated through the shim, or null. It lives until the driver frees it.
    Statement* Find(SQLHANDLE handle) const;
    void Add(SQLHSTMT handle, SQLHDBC connection, WideForm form);
    void Remove(SQLHANDLE handle);
    /// Deletes a connection's statements with it.
    void RemoveOf(SQLHDBC connection);

    /// The shim's own record for a handle, empty if there is none.
    Diagnosis DiagnosisOf(SQLHANDLE handle) const;
    void Diagnose(SQLHANDLE handle, const Diagnosis& diagnosis);
    /// Begins a call, which discards the previous one's record.
    void Begin(SQLHANDLE handle);

private:
    mutable std::shared_mutex mutex_;
    std::unordered_map<SQLHANDLE, std::unique_ptr<Statement>> statements_;
    std::unordered_map<SQLHANDLE, Diagnosis> diagnoses_;  // for handles other than statements
    std::atomic<bool> has_diagnoses_ = false;
    std::atomic<std::uint64_t> changes_ = 1;  // how often statements were added or removed
};
