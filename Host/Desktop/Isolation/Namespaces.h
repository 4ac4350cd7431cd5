#pragma once

#include "Host/Desktop/Isolation/FileRules.h"

#include <functional>
#include <string>
#include <vector>

/// A process apart: with files, processes, users, a network, message queues, keys and a host name
/// of its own.
namespace Lumivera::Namespaces {

/// Goes on in a new process, which has the namespaces; all files but the readable ones are gone
/// there, and these cannot be written. Their paths are absolute. The current folder becomes the
/// root; the signal at the parent's end stays set. Call it while the process has one thread.
///
/// `movedTo` is called in the old process with the new one's identifier; the new one is a sibling,
/// a child of this process's parent, and goes on when the old one has exited. Without `movedTo` the
/// old process waits for the new one and ends as it does.
///
/// False where the kernel or its settings do not let this user have all of that. The process may
/// be a new one even so, but its files are those of the system.
bool enter(const std::vector<ReadableFile> &readable, const std::function<void(int)> &movedTo);

/// Gives up all rights that root has, and those over these namespaces, for good. False when the
/// kernel refuses.
bool giveUpCapabilities();

} // namespace Lumivera::Namespaces
