// The whole public interface of lumomedia. Every header also stands alone and compiles as C++11.
//
// Plain words first. There is no authentication, no IPv6 and, unless you seal your frames (seal.h), no encryption on
// the wire: use the library inside a trusted network or a tunnel. Poll every sender and receiver about once a second:
// all poll counts assume it. Callbacks share one UDP and one TCP thread: return quickly. Inside one, of whatever
// object, write frames, poll and control as you like; but create nothing there, and nothing can be released: callbacks
// of two threads would wait for each other for ever. ReleaseConnections() of every object does nothing then but log a
// line, and the object lives and works as before: note it, and release it on a thread of your own.
#ifndef LUMOMEDIA_LUMOMEDIA_H
#define LUMOMEDIA_LUMOMEDIA_H

#include <lumomedia/audio.h>
#include <lumomedia/base.h>
#include <lumomedia/desktop.h>
#include <lumomedia/export.h>
#include <lumomedia/file.h>
#include <lumomedia/local_mcu.h>
#include <lumomedia/p2p.h>
#include <lumomedia/packet.h>
#include <lumomedia/statistics.h>
#include <lumomedia/video.h>
#include <lumomedia/whiteboard.h>

#endif
