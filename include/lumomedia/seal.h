// Frames sealed end to end: what no relay, no proxy and nobody on the path can read, alter, repeat or invent. A library
// of its own (lumomedia::seal, lumomedia-seal.pc) beside lumomedia: seal a frame before it enters a channel, open it
// after it has left one. The format is SFrame (RFC 9605). docs/security.md says what it protects and what it does not.
#ifndef LUMOMEDIA_SEAL_H
#define LUMOMEDIA_SEAL_H

#include <lumomedia/export.h>

#include <cstdint>

struct CSealerState;
struct COpenerState;

enum : int {
    kSealRoomBefore = 17,                              ///< the longest header
    kSealRoomAfter = 16,                               ///< the tag
    kSealOverhead = kSealRoomBefore + kSealRoomAfter,  ///< bytes by which a frame grows at most
    kSealSecretLength = 22                             ///< characters of a secret as text, without an end
};

enum SealSuite { SEAL_AES_128_GCM_SHA256_128 = 4, SEAL_AES_256_GCM_SHA512_128 = 5 };

/// Of video the first three bytes stay clear, as links read and write them: byte 0 cannot be altered unnoticed, bytes 1
/// and 2 can. Audio is opened in any order, within 1,024 frames; the others' frames in the order of sealing only.
enum SealMedium { SEAL_AUDIO = 0, SEAL_VIDEO = 1, SEAL_DESKTOP = 5, SEAL_FILE = 6 };
enum SealDirection { SEAL_DOWN = 0, SEAL_UP = 1 };  ///< from the publisher to subscribers; from them to the publisher

/// What frames belong to: those of one stream do not open in another.
struct LumoSealStream {
    SealMedium medium;
    SealDirection direction;
    unsigned long ulChannelID;
};

/// What became of a frame.
enum SealOutcome {
    SEAL_DONE,       ///< sealed, or opened
    SEAL_NO_ROOM,    ///< the room given is too small for what would come out
    SEAL_FAILED,     ///< no secret, a length that no frame has, no memory, or the cryptographic library refused
    SEAL_FORKED,     ///< the sealer is a copy that fork() has made: make a new one in the child
    SEAL_PLAIN,      ///< it does not begin like a sealed frame
    SEAL_MALFORMED,  ///< it does, but is none that a sealer makes
    SEAL_WRONG,      ///< another secret, another stream, altered or invented
    SEAL_REPEATED,   ///< opened before, or overtaken by what has been opened
    SEAL_EARLIER,    ///< of a sender that a later start of the same stream has replaced
    SEAL_START,      ///< of a sender that says it started more than 24 hours away from this host's time
    SEAL_FORGOTTEN,  ///< of a sender of which the opener cannot know any more whether it has seen it
    SEAL_OUTCOMES    ///< their number
};

/// 16 random bytes that all who take part share, as 22 characters of base64url. Wiped when it goes. Not synchronised.
class LUMO_API CSealSecret {
public:
    /// None yet, with which nothing is sealed or opened.
    CSealSecret();
    ~CSealSecret();
    CSealSecret(const CSealSecret&);
    CSealSecret& operator=(const CSealSecret&);

    /// A new one from the system's generator; false, and none, when that fails.
    bool Draw();
    /// False, and none, for anything but the text that one secret has; there is no other way to write it.
    bool Parse(const char* text, int length);
    bool IsSet() const;
    /// Its text with a terminating 0, empty without a secret. Wipe it when it has been shown.
    void GetText(char (&text)[kSealSecretLength + 1]) const;

    /// Overwrites memory that held a secret, whatever the optimiser thinks of it.
    static void Wipe(void* memory, int length);

private:
    friend class CKeyMaker;
    unsigned char m_abySecret[16];
    bool m_bSet;
};

/// A piece of a frame that lies in several places.
struct LumoSealPart {
    const void* data;
    int length;
};

/// Seals the frames of one sender in one stream, each under a number of its own. Any thread; but frames of a reliable
/// medium open only in the order in which they were sealed, so seal and queue them under one lock. A sender that goes
/// to a relay and directly to peers seals each frame once; one whose frames differ from lane to lane has a sealer a
/// lane.
class LUMO_API CSealer {
public:
    /// Draws a key ID, and a new one after 2^32 frames, 2^36 bytes or 12 hours. Lanes of one sender are given one
    /// `ulStart`, from StartNow(): their key IDs keep it, and openers take them side by side. Whoever may come a day
    /// later has to take any start then.
    CSealer(const CSealSecret& secret, const LumoSealStream& stream, SealSuite suite = SEAL_AES_128_GCM_SHA256_128,
            unsigned long ulStart = 0);
    ~CSealer();

    /// The sealed frame goes to `sealed`, which has `room` bytes (`length` + kSealOverhead do) and does not overlap
    /// `frame`. `sealedLength` is 0 unless the outcome is SEAL_DONE. Video frames have 3 bytes at least.
    SealOutcome Seal(const void* frame, int length, void* sealed, int room, int& sealedLength);
    /// The same of a frame in `count` parts, one after another.
    SealOutcome SealParts(const LumoSealPart* parts, int count, void* sealed, int room, int& sealedLength);
    /// Without a copy: there are kSealRoomBefore bytes before `frame` and kSealRoomAfter behind it, and the sealed
    /// frame, which begins at `sealed`, takes the place of all of that.
    SealOutcome SealInPlace(void* frame, int length, void*& sealed, int& sealedLength);

    /// Of the next frame, if no limit is reached until then.
    uint64_t GetKeyID() const;
    /// Minutes since 1970, by this host's clock.
    static unsigned long StartNow();

private:
    CSealer(const CSealer&);
    CSealer& operator=(const CSealer&);
    friend struct CSealerState;

    CSealerState* m_pState;
};

/// Opens the frames of one stream, of whatever senders that have the secret: of many upstream; downstream of the latest
/// one, and of all lanes of a file. Opens nothing twice, and nothing of a sender once a later one has been opened. What
/// it remembers is bounded: 64 keys, and of senders whose keys it let go 65,536. Any thread.
class LUMO_API COpener {
public:
    /// With `bAnyStart` senders may have started long ago, or in the future: for who has another way to know that what
    /// it hears is not a recording.
    COpener(const CSealSecret& secret, const LumoSealStream& stream, SealSuite suite = SEAL_AES_128_GCM_SHA256_128,
            bool bAnyStart = false);
    ~COpener();

    /// The frame goes to `frame`, which has `room` bytes (those of the sealed one do) and does not overlap `sealed`.
    /// Unless the outcome is SEAL_DONE `frameLength` is 0 and nothing in `frame` is of use: drop the frame.
    SealOutcome Open(const void* sealed, int length, void* frame, int room, int& frameLength);
    /// Without a copy: the frame begins at `frame`, within the sealed one, whose bytes are gone whatever the outcome.
    SealOutcome OpenInPlace(void* sealed, int length, void*& frame, int& frameLength);

    /// How many frames had this outcome so far.
    unsigned long long GetCount(SealOutcome outcome) const;

private:
    COpener(const COpener&);
    COpener& operator=(const COpener&);

    COpenerState* m_pState;
};

/// False for a frame that is not sealed. No secret is needed to see who sealed it and its number among theirs.
LUMO_API bool ReadSealedFrame(SealMedium medium, const void* frame, int length, uint64_t& keyID, uint64_t& counter);

#endif
