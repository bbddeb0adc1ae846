// What the library has carried so far: one struct per live reliable link, one for the process.
#ifndef LUMOMEDIA_STATISTICS_H
#define LUMOMEDIA_STATISTICS_H

#include <lumomedia/export.h>

/// One live reliable UDP link (a sink, a sender or a receiver). All counters start at 0 with the link.
struct LumoLinkStatistics {
    unsigned long ulLinkID;                 ///< the link's ID on the wire
    unsigned long ulRemoteIP;               ///< IPv4 address of the far side, host byte order, 0 until known
    unsigned short usRemotePort;            ///< UDP port of the far side, host byte order, 0 until known
    unsigned char byKind;                   ///< first byte of its datagrams (1 video, 4 whiteboard, 5 desktop, 6 file)
    unsigned long long ullPacketsSent;      ///< session packets sent, repetitions and acknowledgements included
    unsigned long long ullPacketsReceived;  ///< well-formed session packets received
    unsigned long long ullBytesSent;        ///< payload bytes of data packets sent, repetitions included
    unsigned long long ullBytesReceived;    ///< payload bytes of data packets received, duplicates included
    unsigned long long ullFramesSent;       ///< frames handed to the session
    unsigned long long ullFramesReceived;   ///< frames delivered
    unsigned long long ullRetransmitted;    ///< data packets sent again
    unsigned long long ullDuplicates;       ///< data packets received again
    unsigned long long ullFramesDropped;    ///< frames refused (too large, no room or memory) or flushed from the queue
    unsigned long ulRoundTripMs;            ///< smoothed round trip in ms of packets sent once; 0 until measured
    unsigned long ulQueuedFrames;           ///< frames waiting for the session
    unsigned long long ullQueuedBytes;      ///< their bytes
};

/// The process since the library was loaded, ended links included.
struct LumoProcessStatistics {
    unsigned long ulLinks;                    ///< live reliable links
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
