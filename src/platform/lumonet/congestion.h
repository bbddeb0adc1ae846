// Which congestion control the kernel is asked for.
#pragma once

#include <string>

namespace net {

/// What TCP connections that open from now on ask the kernel for; empty, as at first: nothing. Any thread.
void SetCongestionControl(const std::string& name);

/// Asks for it; a kernel that does not have it, or does not give it, keeps its own. The name of what the socket has
/// then, which lives as long as the process; empty where it cannot be told.
const char* AskForCongestionControl(int socket);

}  // namespace net
