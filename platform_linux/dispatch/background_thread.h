// Threads for background work, and what the system says of them.
#pragma once

#include <sys/types.h>

#include <functional>
#include <thread>

namespace quorvin {

/// Starts a thread of the library's own inside somebody else's process: it leaves the process's
/// signals to the process's threads. The thread is not joinable when the system has none to give.
/// `name` shows in debuggers and profilers, and has at most 15 characters.
std::thread startThread(const char* name, std::function<void()> body);

/// Gives the calling thread the lowest priority, nice 19: with anything else to run it gets about
/// 1.5 % of a processor. The idle class would be lower still, but gives no share at all: a busy
/// program could then stop a background item for good while it holds a lock that the platform
/// thread waits for. Threads and programs started from this thread inherit the priority.
void lowerPriority();

/// The calling thread's number in the kernel.
pid_t currentThreadId();

/// Whether a thread of this process runs, or would if a processor were free. False when it sleeps
/// or waits for a device, and when the system does not tell. Costs one file in /proc: some 10 µs.
bool isRunnable(pid_t thread);

}  // namespace quorvin
