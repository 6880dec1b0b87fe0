// What kind of driver is loaded in this process.
#pragma once

/// Whether the ODBC driver of the connection has narrow functions only, so that the driver manager
/// converts all wide text on its way. False where no driver is found.
bool DriverIsNarrow();
