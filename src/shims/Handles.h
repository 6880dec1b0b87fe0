// What the wide shim knows of the driver's handles.
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

/// Statements, and diagnostics of other handles, by the driver's own handles, which go to and fro
/// unchanged.
class Handles {
public:
    static Handles& Instance();

    /// A statement that was made through the shim, or null. It lives until the driver frees it.
    Statement* Find(SQLHANDLE handle) const;
    void Add(SQLHSTMT handle, SQLHDBC connection, WideForm form);
    void Remove(SQLHANDLE handle);
    /// A connection's statements end with it.
    void RemoveOf(SQLHDBC connection);

    /// The shim's own record of a handle, empty where it has none.
    Diagnosis DiagnosisOf(SQLHANDLE handle) const;
    void Diagnose(SQLHANDLE handle, const Diagnosis& diagnosis);
    /// A call begins, which ends what the last one left.
    void Begin(SQLHANDLE handle);

private:
    mutable std::shared_mutex mutex_;
    std::unordered_map<SQLHANDLE, std::unique_ptr<Statement>> statements_;
    std::unordered_map<SQLHANDLE, Diagnosis> diagnoses_;  // of handles other than statements
    std::atomic<bool> has_diagnoses_ = false;
    std::atomic<std::uint64_t> changes_ = 1;  // how often statements came or went
};
