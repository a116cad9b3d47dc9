#pragma once

#include <functional>
#include <thread>

namespace platform {

// A thread that is given no signals: they are for the threads that were there before. Not joinable
// where the system has no more threads.
std::thread startQuietThread(const std::function<void()>& work);

}  // namespace platform
