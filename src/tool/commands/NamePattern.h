// Names of a catalog as a person asks for them.
#pragma once

#include <string>
#include <string_view>

#include "client/Session.h"

/// A name with * and ? for any characters and any one, and perhaps a schema or catalog in front of
/// a point. What stands in double quotes, or in `these`, is meant as it is written; all else in any
/// case.
class NamePattern {
public:
    explicit NamePattern(std::string_view text);

    bool IsEmpty() const { return name_.text.empty(); }

    /// Whether every name but one is excluded.
    bool IsOneName() const { return !IsEmpty() && !name_.has_wildcards; }

    bool Matches(std::string_view name) const { return name_.Matches(name); }

    /// Whether a schema, or the catalog, is the one in front of the point; true where none is.
    bool MatchesQualifier(std::string_view catalog, std::string_view schema) const;

    /// A pattern for the driver, which every name that matches fits, and perhaps others. Where the
    /// source keeps plain names in one case, _ stands for each letter, since a name that was
    /// quoted when it was made may have any.
    std::string ForDriver(const Session& session) const { return name_.ForDriver(session); }
    std::string SchemaForDriver(const Session& session) const
    {
        return qualifier_.ForDriver(session);
    }

    /// What is in front of the point, as it is written: the driver takes no pattern of catalogs.
    const std::string& Catalog() const { return qualifier_.text; }

private:
    struct Part {
        std::string text;
        bool is_quoted = false;
        bool has_wildcards = false;

        bool Matches(std::string_view name) const;
        std::string ForDriver(const Session& session) const;
    };

    static Part Take(std::string_view& text);

    Part qualifier_;
    Part name_;
};
