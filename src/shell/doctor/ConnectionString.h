// The words of -d.
#pragma once

#include <string>
#include <string_view>
#include <vector>

/// A connection string as the driver manager receives it from the gateway, and reads it: by keys of
/// any case, the first of a name holding. Blanks and braces belong to a value.
class ConnectionString {
public:
    explicit ConnectionString(const std::string& text);

    /// The value of a key, empty where it has none.
    std::string Value(std::string_view key) const;

    bool Has(std::string_view key) const;

    /// The string, with stars in the place of every password.
    std::string Masked() const;

    /// The string for the same place through another driver.
    std::string Through(const std::string& driver) const;

private:
    struct Item {
        std::string text;  // whole
        std::string key;   // in capitals, empty where there is no equals sign
        std::string value;
    };

    std::vector<Item> items_;
};
