// In what the media differ.
#pragma once

#include "seal/header.h"
#include "seal/key_id.h"

#include <lumomedia/seal.h>

namespace seal {

/// The bytes of a frame that stay as they are, before the header of the sealed rest.
constexpr int ClearBytes(SealMedium medium) { return medium == SEAL_VIDEO ? 3 : 0; }
/// As many of them, from the first on, are under the tag.
constexpr int MetadataBytes(SealMedium medium) { return medium == SEAL_VIDEO ? 1 : 0; }

/// Which senders an opener takes.
enum class Senders {
    One,    ///< each takes the place of the one before
    Lanes,  ///< all of the latest start
    Many    ///< all
};
constexpr Senders SendersOf(const LumoSealStream& stream) {
    if (stream.direction == SEAL_UP) return Senders::Many;
    return stream.medium == SEAL_FILE ? Senders::Lanes : Senders::One;
}

/// SEAL_DONE for one whose header can be what a sealer wrote: with it `header` is filled.
SealOutcome ReadFrame(SealMedium medium, const unsigned char* frame, int length, Header& header);

}  // namespace seal
