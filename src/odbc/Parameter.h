// One parameter of a statement.
#pragma once

/// A bound parameter, owned by its statement.
class CParameter {
public:
    CParameter() = default;
    virtual ~CParameter() = default;
    CParameter(const CParameter&) = delete;
    CParameter& operator=(const CParameter&) = delete;
};
