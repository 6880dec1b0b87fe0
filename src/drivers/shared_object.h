// Why a file can't be loaded as a shared object.
#pragma once

#include <string>

/// What the file itself shows. The loader reports another machine's object as a file that does not
/// exist, and crashes on one that is truncated.
struct ObjectFault {
    enum Kind { kNone, kDirectory, kUnreadable, kNotElf, kOtherMachine, kTruncated };

    Kind kind = kNone;
    std::string detail;  // the system's reason, or the machine that the file is for

    explicit operator bool() const { return kind != kNone; }
};

ObjectFault FaultOfSharedObject(const std::string& file);

/// The machine whose shared objects this process can load, "x86-64".
std::string OwnMachine();
