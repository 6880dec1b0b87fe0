// The Unicode option, for a while.
#pragma once

#include <cstdint>

#include "client/Entry.h"
#include "client/Session.h"

/// Sets the Unicode option for as long as it lives, whatever the session's is.
class UnicodeOption {
public:
    UnicodeOption(const Session& session, bool is_on)
        : session_(session), is_other_(session.Options().unicode != is_on)
    {
        Switch(is_on);
    }
    ~UnicodeOption() { Switch(session_.Options().unicode); }
    UnicodeOption(const UnicodeOption&) = delete;
    UnicodeOption& operator=(const UnicodeOption&) = delete;

private:
    void Switch(bool on) const
    {
        if (is_other_) {
            Entry<std::int32_t>(session_.Library(), "SetUnicodeOption", "iP")(on ? 1 : 0);
        }
    }

    const Session& session_;
    bool is_other_;
};
