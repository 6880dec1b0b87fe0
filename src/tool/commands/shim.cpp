#include "tool/commands/shim.h"

#include <cstdio>

#include "drivers/shims.h"
#include "text/terminal_text.h"

ExitCode PrintShim(const CommandLine& command)
{
    const auto made = MakeShim(FaceOf(command.shim_face), command.library,
                               DriverNamed(command.shim_driver), command.shim_folder);
    std::printf("DRIVER=%s\n", Printable(made.string()).c_str());
    return kDone;
}
