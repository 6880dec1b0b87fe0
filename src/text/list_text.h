// Host lists and trace records as a person reads them.
#pragma once

#include <string>
#include <string_view>

#include "client/HostServices.h"
#include "text/HandleNames.h"

/// A list as a person reads it: 5, "text", u"2-byte text", handle 0x55d0c8a3f2b0, or the handle's
/// name where it has one.
std::string ListText(std::string_view bytes, const HandleNames* names = nullptr);

/// A trace record in one line.
std::string RecordText(const TraceRecord& record);
