#pragma once

/// Uses up all Landlock layers that the kernel grants a process, so that it refuses any further
/// one. They forbid nothing but links. Child processes inherit them, and they cannot be removed.
/// False where the kernel has no Landlock.
bool useUpLandlock();
