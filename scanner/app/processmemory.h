// What the process takes of memory.
#pragma once

namespace app {

/// The most memory that the process has had, MiB; 0 where the system does not tell.
double PeakMemoryMb();

} // namespace app
