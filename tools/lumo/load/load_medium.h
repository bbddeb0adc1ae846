// What `lumo load` needs of a medium.
#pragma once

#include "tools/lumo/net/link.h"
#include "tools/lumo/net/relay_route.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace lumo {

/// A channel of this host and its link to the relay. One thread: the loop's.
class ILoadPublisher {
public:
    virtual ~ILoadPublisher() = default;
    /// May write into the frame's head. `key`: the frame stands alone, where the medium knows such.
    virtual void Send(std::string& frame, bool key) = 0;
    virtual CLink& Link() = 0;
};

/// Takes a frame on a thread of the library.
using LoadSink = std::function<void(const char* data, int length)>;

/// A new medium is a row of LoadMedia().
struct LoadMedium {
    const char* name;  ///< the word on the command line
    const char* help;
    uint32_t bytes, mostBytes;  ///< of a frame: usually, and at most
    double rate;                ///< frames a second, usually
    uint32_t head;              ///< bytes of a frame that are the medium's
    uint32_t keyEvery;          ///< frames, usually; 0: the medium knows no key frames
    uint32_t keyBytes;          ///< of one, usually
    std::unique_ptr<ILoadPublisher> (*publish)(const RelayRoute& route, CInbox& inbox);
    std::unique_ptr<CLink> (*subscribe)(const RelayRoute& route, CInbox& inbox, LoadSink sink);
    bool speaks = false;  ///< can publish a spoken sample
};

const std::vector<LoadMedium>& LoadMedia();

}  // namespace lumo
