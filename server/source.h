// The publisher of a stream, as the server holds it.
#pragma once

#include "core/wire/commands.h"
#include "server/server_constants.h"
#include "server/status.h"

#include <cstdint>

class CSourceUDP;

/// The codes and numbers in which the media's sources differ.
struct CSourceProfile {
    wire::Kind kind;
    const char* medium;  ///< as the page, the metrics and the log name it
    uint8_t connect, connectAck;
    uint8_t frame, frameAck;
    uint8_t keepAlive;  ///< where publishers are started and stopped: start, with the number of those who listen
    uint8_t stop;       ///< sent in its place while nobody does; elsewhere 0
    uint8_t disconnect;
    int acknowledgements;  ///< of one connect request
    bool session;          ///< frames travel in the reliable session, else each in a datagram
    /// Over UDP subscribers ask once and send no keep-alives: their requests are kept until they can be served, and an
    /// empty session packet makes them show that they are there.
    bool subscribersAskOnce;
    wire::TcpType senderType, receiverType;
    char tcpStart = 0;  ///< control bytes to publishers over TCP; start is the keep-alive, too
    char tcpStop = 0;
    char tcpKeyFrame = 0;  ///< where there are key frames
    /// Nobody publishes: a channel is made for whoever asks for it first, and an empty session packet makes subscribers
    /// over UDP show that they are there.
    bool board = false;
    uint32_t channelGoneAfterMs = server::kChannelGoneAfterMs;  ///< without a publisher and subscribers

    bool Stops() const { return stop != 0; }
};

/// Owned by its stream. Ended, and then deleted, after it has left the stream.
class CSource {
public:
    CSource() = default;
    virtual ~CSource() = default;
    CSource(const CSource&) = delete;
    CSource& operator=(const CSource&) = delete;

    /// One frame of a subscriber; false when it was dropped. Any thread, under the stream's source lock.
    virtual bool SendUpstream(const void* data, int length) = 0;
    /// A subscriber needs a key frame, where there are such. Under the stream's source lock.
    virtual void RequestKeyFrame() {}
    /// The subscribers have changed. Any thread, under the stream's source lock.
    virtual void OnChange() {}
    /// Whether it is to be ended, and another publisher may take its place.
    virtual bool IsGone() = 0;
    /// The work of every second.
    virtual void OnSecond() = 0;
    /// No frame of it arrives after this.
    virtual void End() = 0;
    /// The server ends: it is to send nothing more.
    virtual void TellToStop() {}
    /// As End, once what is queued has left; true when there is something to wait for.
    virtual bool CloseWhenSent() { return false; }
    virtual CSourceStatus Status() = 0;

    virtual CSourceUDP* AsUDP() { return nullptr; }
};
