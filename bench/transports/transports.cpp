#include "bench/transports/transports.h"

namespace bench {

const std::vector<CDriver>& Drivers() {
    static const std::vector<CDriver> drivers = [] {
        std::vector<CDriver> all;
        for (const auto& some : {LumoDirectDrivers(), LumoRelayDrivers(), LumoTcpDrivers(), LumoIdleDrivers(),
                                 LumoAudioDrivers(), LumoSealedDrivers(), LumoVideoDrivers(), LumoDesktopDrivers(),
                                 LumoFileDrivers(), LumoBoardDrivers(), AudioPlainDrivers(), EnetDrivers(),
                                 SrtDrivers(), UsrsctpDrivers(), QuicDrivers(), TcpDrivers(), DatagramDrivers()})
            all.insert(all.end(), some.begin(), some.end());
        return all;
    }();
    return drivers;
}

const CDriver* FindDriver(const std::string& name) {
    for (const CDriver& driver : Drivers())
        if (name == driver.name) return &driver;
    return nullptr;
}

}  // namespace bench
