#pragma once

/// Takes all the confinements of files that the kernel grants a process, without forbidding more
/// than links, so that it refuses any further one. For ever, here and in processes begun from now
/// on; false where the kernel has none.
bool useUpLandlock();
