// Host lists and trace records in readable form.
#pragma once

#include <string>
#include <string_view>

#include "client/HostServices.h"
#include "text/HandleNames.h"

/// A list in readable form: 5, "text", u"2-byte text", handle 0x55d0c8a3f2b0, or the handle's name
/// where it has one.
std::string ListText(std::string_view bytes, const HandleNames* names = nullptr);

/// A trace record on one line.
std::string RecordText(const TraceRecord& record);
