#include "shims/Handles.h"

#include <mutex>

Handles& Handles::Instance()
{
    static Handles handles;
    return handles;
}

Statement* Handles::Find(SQLHANDLE handle) const
{
    struct Last {
        std::uint64_t changes;
        SQLHANDLE handle;
        Statement* statement;
    };
    thread_local Last last{};  // consecutive values come from the same statement
    const std::uint64_t changes = changes_.load(std::memory_order_acquire);
    if (last.changes != changes || last.handle != handle) {
        const std::shared_lock lock(mutex_);
        const auto found = statements_.find(handle);
        last = {changes, handle, found != statements_.end() ? found->second.get() : nullptr};
    }
    return last.statement;
}

void Handles::Add(SQLHSTMT handle, SQLHDBC connection, WideForm form)
{
    auto statement = std::make_unique<Statement>(handle, connection, form);
    const std::unique_lock lock(mutex_);
    ++changes_;
    statements_[handle] = std::move(statement);
}

void Handles::Remove(SQLHANDLE handle)
{
    const std::unique_lock lock(mutex_);
    ++changes_;
    statements_.erase(handle);
    diagnoses_.erase(handle);
}

void Handles::RemoveOf(SQLHDBC connection)
{
    const std::unique_lock lock(mutex_);
    ++changes_;
    std::erase_if(statements_,
                  [=](const auto& entry) { return entry.second->Connection() == connection; });
}

Diagnosis Handles::DiagnosisOf(SQLHANDLE handle) const
{
    if (const Statement* statement = Find(handle); statement != nullptr) {
        return statement->diagnosis;
    }
    const std::shared_lock lock(mutex_);
    const auto found = diagnoses_.find(handle);
    return found != diagnoses_.end() ? found->second : Diagnosis{};
}

void Handles::Diagnose(SQLHANDLE handle, const Diagnosis& diagnosis)
{
    if (Statement* statement = Find(handle); statement != nullptr) {
        statement->diagnosis = diagnosis;
        return;
    }
    const std::unique_lock lock(mutex_);
    diagnoses_[handle] = diagnosis;
    has_diagnoses_ = true;
}

void Handles::Begin(SQLHANDLE handle)
{
    if (Statement* statement = Find(handle); statement != nullptr) {
        statement->diagnosis = {};
    } else if (has_diagnoses_) {
        const std::unique_lock lock(mutex_);
        diagnoses_.erase(handle);
        has_diagnoses_ = !diagnoses_.empty();
    }
}
