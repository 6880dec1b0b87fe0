#include "tool/commands/doctor.h"

#include "doctor/Doctor.h"

ExitCode PrintDiagnosis(const CommandLine& command)
{
    switch (Diagnose(command.library, *command.connection_string, stdout)) {
        case Diagnosis::kAllRight:
            return kDone;
        case Diagnosis::kTextWrong:
            return kSqlFailed;
        case Diagnosis::kGatewayUnusable:
            return kLibraryUnusable;
        default:
            return kConnectionFailed;
    }
}
