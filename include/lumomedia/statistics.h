// What the library has carried so far: one struct per live link, one for the process.
#ifndef LUMOMEDIA_STATISTICS_H
#define LUMOMEDIA_STATISTICS_H

#include <lumomedia/export.h>

/// One live link: a reliable UDP link (a sink, a sender or a receiver), an audio sender or receiver over UDP, or the
/// TCP connection of a sender or receiver. All counters start at 0 with the link; what a kind of link does not have
/// stays 0: sessions and their packets over TCP and in audio, queues of audio over UDP.
struct LumoLinkStatistics {
    unsigned long ulLinkID;                 ///< the link's ID on the wire
    unsigned long ulRemoteIP;               ///< IPv4 address of the far side, host byte order, 0 until known
    unsigned short usRemotePort;            ///< port of the far side, host byte order, 0 until known
    unsigned char byKind;                   ///< 0 audio, 1 video, 4 whiteboard, 5 desktop, 6 file; 2 signalling
    unsigned char byTransport;              ///< 0 UDP, 1 TCP
    unsigned long long ullPacketsSent;      ///< session packets sent, repetitions and acknowledgements included
    unsigned long long ullPacketsReceived;  ///< well-formed session packets received
    unsigned long long ullBytesSent;        ///< payload bytes of data packets sent, repetitions included
    unsigned long long ullBytesReceived;    ///< payload bytes of data packets received, twice if repeated; TCP: all
    unsigned long long ullFramesSent;       ///< frames handed to the session
    unsigned long long ullFramesReceived;   ///< frames delivered
    unsigned long long ullRetransmitted;    ///< data packets sent again
    unsigned long long ullDuplicates;       ///< data packets received again
    unsigned long long ullFramesDropped;    ///< frames refused (too large, no room or memory) or flushed from the queue
    unsigned long ulRoundTripMs;            ///< smoothed round trip in ms of packets sent once; 0 until measured
    unsigned long ulQueuedFrames;           ///< frames that wait; of a wide session, all that are not acknowledged
    unsigned long long ullQueuedBytes;      ///< their bytes
    /// What has come from the far side, whatever it says: over UDP its datagrams, acknowledgements and keep-alives
    /// included; over TCP bytes as they arrive, of frames that are not whole yet too. While it grows the far side
    /// lives.
    unsigned long long ullSignsOfLife;
    /// Of TCP, the congestion control that the kernel uses; empty or null where that cannot be told. The text lives as
    /// long as the process.
    const char* szCongestionControl;
    /// What a wide session knows of its path as a sender; all 0 in a given one.
    unsigned char byWide;                 ///< 1: packets leave as those of a wide session
    unsigned long ulSmallestRoundTripUs;  ///< of the last seconds, in microseconds; 0 until measured
    unsigned long long ullBandwidth;      ///< bytes a second that the path carries, all headers included
    unsigned long long ullBytesInFlight;  ///< sent and neither acknowledged nor taken for lost, all headers included
    unsigned long long ullPacketsLost;    ///< taken for lost since the link became wide
};

/// The process since the library was loaded, ended links included.
struct LumoProcessStatistics {
    unsigned long ulLinks;                    ///< live links
    unsigned long long ullDatagramsSent;      ///< handed to the kernel
    unsigned long long ullDatagramsReceived;  ///< delivered by the kernel
    unsigned long long ullDatagramBytesSent;
    unsigned long long ullDatagramBytesReceived;
    unsigned long long ullDatagramsRefused;  ///< refused by the kernel, or addressed to nobody
    unsigned long long ullRetransmitted;     ///< data packets sent again, all links
    unsigned long long ullDuplicates;        ///< data packets received again, all links
    unsigned long long ullFramesDropped;     ///< all links
    unsigned long long ullLogLinesLost;      ///< log lines dropped because the writer fell behind
};

/// Fills `statistics` for the index-th live link (0 is the oldest); false when there is no such link. Any thread.
LUMO_API bool GetLinkStatistics(unsigned long index, LumoLinkStatistics& statistics);

/// Any thread.
LUMO_API void GetProcessStatistics(LumoProcessStatistics& statistics);

#endif
