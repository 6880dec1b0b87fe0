#include "shims/Handles.h"

#include <mutex>

Handles& Handles::Instance()
{
    static Handles handles;
    return handles;
}

Statement* Handles::Find(SQLHANDLE handle) const
{
    const std::shared_lock lock(mutex_);
    const auto found = statements_.find(handle);
    return found != statements_.end() ? found->second.get() : nullptr;
}

void Handles::Add(SQLHSTMT handle, SQLHDBC connection, WideForm form)
{
    auto statement = std::make_unique<Statement>(handle, connection, form);
    const std::unique_lock lock(mutex_);
    statements_[handle] = std::move(statement);
}

void Handles::Remove(SQLHANDLE handle)
{
    const std::unique_lock lock(mutex_);
    statements_.erase(handle);
    diagnoses_.erase(handle);
}

void Handles::RemoveOf(SQLHDBC connection)
{
    const std::unique_lock lock(mutex_);
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
