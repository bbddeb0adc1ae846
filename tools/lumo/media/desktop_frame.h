// What `lumo publish desktop` and `lumo subscribe desktop` say to each other: docs/desktop-frames.md.
#pragma once

#include "core/session_constants.h"
#include "tools/lumo/media/picture.h"

#include <lumomedia/seal.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace lumo {

inline constexpr size_t kDesktopHeadLength = 22;
inline constexpr size_t kMaxDesktopFrame = session::kMaxFrameLen;  ///< the library drops longer ones
inline constexpr size_t kMaxPicture = kMaxDesktopFrame - kDesktopHeadLength - kSealOverhead;
inline constexpr size_t kViewReportLength = 25;

enum class DesktopKind : uint8_t {
    Picture = 1,  ///< for the first time
    Again = 2,    ///< a picture that has been sent already
    Here = 3,     ///< the publisher lives; no picture
    End = 4,      ///< and no more will come
};

struct DesktopHead {
    DesktopKind kind = DesktopKind::Here;
    PictureFormat format = PictureFormat::None;  ///< None where there is no picture
    uint32_t stream = 0;                         ///< random, of this run of the publisher
    uint32_t sequence = 0;                       ///< of frames with a picture, from 1; else that of the last one
    uint32_t picture = 0;                        ///< of the picture, from 1; the same when it comes again
    uint64_t takenUs = 0;                        ///< when the picture was taken, microseconds since 1970

    bool HasPicture() const { return kind == DesktopKind::Picture || kind == DesktopKind::Again; }
};

std::string Encode(const DesktopHead& head, const std::string& picture);
/// False for what is cut off, too long or inconsistent. `picture` becomes the bytes behind the head.
bool Decode(const char* data, size_t length, DesktopHead& head, std::string& picture);

/// What a viewer says to the publisher.
struct ViewReport {
    static constexpr uint16_t kNowhere = 0xffff;

    uint64_t viewer = 0;    ///< random
    uint32_t asking = 0;    ///< raised by one whenever the viewer lacks the publisher's picture
    uint32_t stream = 0;    ///< of the last frame shown; 0: none
    uint32_t sequence = 0;  ///< of the last frame shown; 0: none
    uint16_t pointerX = kNowhere;
    uint16_t pointerY = kNowhere;
    bool leaves = false;  ///< and needs no more pictures
};

std::string Encode(const ViewReport& report);
bool Decode(const char* data, size_t length, ViewReport& report);

}  // namespace lumo
