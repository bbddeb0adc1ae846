// Finds the pictures in a stream of JPEG files that follow one another, as screen grabbers write it ("MJPEG").
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace lumo {

/// Follows one picture from marker to marker, so that neither a thumbnail inside a segment nor compressed data is taken
/// for its end.
class CJpegWalk {
public:
    enum class Result { NeedMore, End, Broken };

    /// Goes on where it stopped; `data` begins with the picture's first byte and has grown since.
    Result Go(const char* data, size_t length);
    /// How far it has come: behind the picture after End, at what does not belong to it after Broken.
    size_t At() const { return m_nAt; }

private:
    bool TakeMarker(const uint8_t* bytes, size_t length, Result& result);
    bool PassScan(const uint8_t* bytes, size_t length);

    size_t m_nAt = 0;
    bool m_bScan = false;  // among compressed data
};

/// Its length when a whole JPEG stands at the beginning, else 0.
size_t WholeJpegLength(const char* data, size_t length);

/// One thread.
class CJpegSplitter {
public:
    explicit CJpegSplitter(size_t maxPicture) : m_nMaxPicture(maxPicture) {}

    void Feed(const char* data, size_t length) { m_strBytes.append(data, length); }
    /// Takes the next whole picture; false when it is not there yet.
    bool Next(std::string& picture);
    /// Pictures that were cut off, damaged or longer than the limit, runs of foreign bytes included.
    uint64_t Skipped() const { return m_ullSkipped; }

private:
    bool FindStart();
    void Drop(size_t length);
    void Skip(size_t length);

    const size_t m_nMaxPicture;
    std::string m_strBytes;
    CJpegWalk m_walk;
    bool m_bStarted = false;  // m_strBytes begins with a picture
    bool m_bForeign = false;  // the run of foreign bytes here has been counted
    uint64_t m_ullSkipped = 0;
};

}  // namespace lumo
