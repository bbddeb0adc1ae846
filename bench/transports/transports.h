// Every transport that is measured; one file each.
#pragma once

#include "bench/harness/driver.h"

#include <vector>

namespace bench {

std::vector<CDriver> LumoDirectDrivers();
std::vector<CDriver> LumoRelayDrivers();
std::vector<CDriver> LumoTcpDrivers();
std::vector<CDriver> LumoIdleDrivers();
std::vector<CDriver> LumoAudioDrivers();
std::vector<CDriver> LumoSealedDrivers();
std::vector<CDriver> LumoVideoDrivers();
std::vector<CDriver> LumoDesktopDrivers();
std::vector<CDriver> LumoFileDrivers();
std::vector<CDriver> LumoBoardDrivers();
std::vector<CDriver> AudioPlainDrivers();
std::vector<CDriver> EnetDrivers();
std::vector<CDriver> SrtDrivers();
std::vector<CDriver> UsrsctpDrivers();
std::vector<CDriver> QuicDrivers();
std::vector<CDriver> TcpDrivers();
std::vector<CDriver> DatagramDrivers();

}  // namespace bench
