// Counts what C++ code allocates.
#pragma once

/// How often memory was allocated in this process so far, by code that it loaded included. Drivers
/// of C allocate in their own way.
int Allocations();
