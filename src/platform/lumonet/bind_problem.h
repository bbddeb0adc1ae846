// Why nothing can listen at an address.
#pragma once

#include <cstdint>
#include <string>

enum class ListenOver { Udp, Tcp, Both };

/// What the system says when it is asked now: "Address already in use (UDP)"; empty when it would let one listen.
std::string BindProblem(uint32_t ip, uint16_t port, ListenOver over);
