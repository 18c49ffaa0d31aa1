#pragma once

namespace kernel {

/// Puts the null device on each of the descriptors 0, 1 and 2 that is closed: a file or a line opened later would get
/// the number, and what the program prints would go into it. The first call of every main(). On a closed standard
/// output the device stands for reading alone, so that what should have gone there is a failed write (EBADF). Ends the
/// process with status 1 where there is no null device.
void openStandardDescriptors();

} // namespace kernel
