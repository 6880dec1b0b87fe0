// Connection strings.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// A value without the braces around it.
std::string WithoutBraces(const std::string& text);

/// Text of any kind with stars in place of each password in a connection string or URL that it
/// contains: the value of PWD, Password and the other keys that drivers read secrets from,
/// user/password@, and scheme://user:password@. In doubt it hides too much.
std::string WithoutSecrets(std::string_view text);

/// A connection string as the driver manager receives it from the gateway and reads it: keys are
/// case-insensitive, blanks and braces are part of a value.
class ConnectionString {
public:
    explicit ConnectionString(const std::string& text);

    /// The value of a key's first item, which is the one that the driver manager reads for DRIVER
    /// and DSN; empty if there is none.
    std::string First(const char* key) const;

    /// The value of the last item with one of these keys, which is the one that drivers read.
    std::optional<std::string> Last(std::span<const char* const> keys) const;

    bool Has(const char* key) const;

    /// Whether the gateway takes it for the name of a data source although it has keys.
    bool IsMalformed() const { return is_malformed_; }

    /// Whether there are blanks around DRIVER, DSN or its value.
    bool HasBlanks() const;

    /// The string, with DSN= before the name of a data source, without secrets.
    std::string Masked() const;

    /// The string for the same source through another driver. Keys of a data source, if given,
    /// replace its name.
    std::string Through(const std::string& driver,
                        const std::vector<std::pair<std::string, std::string>>& source_keys) const;

private:
    struct Item {
        std::string text;  // complete
        std::string key;   // empty if there is no equals sign
        std::string value;
    };

    std::string text_;
    std::vector<Item> items_;
    bool is_malformed_;
};
