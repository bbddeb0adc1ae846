// Where a stream's bytes come from and go to: a file, or standard input and output.
#pragma once

#include "platform/lumonet/file_descriptor.h"

#include <cstdint>
#include <cstdio>
#include <string>

namespace lumo {

class CStreamInput {
public:
    /// "-" is standard input.
    bool Open(const std::string& path, std::string& problem);
    /// Bytes that are there now: 0 at the end, or where reading fails, -1 when there are none yet.
    ssize_t Read(char* buffer, size_t size);
    /// Why reading has failed; empty: it has not.
    const std::string& Problem() const { return m_strProblem; }
    /// Goes on at that byte.
    bool Seek(uint64_t offset) const;
    /// Whether it may be read anywhere, and more than once.
    bool IsFile() const;
    int Fd() const { return m_nFd; }

private:
    CFileDescriptor m_owned;
    int m_nFd = -1;
    std::string m_strName;
    std::string m_strProblem;
};

/// Stays as it was until Begin, and goes if it was not there: whoever heard nothing has written nothing.
class CStreamOutput {
public:
    CStreamOutput() = default;
    ~CStreamOutput();
    CStreamOutput(const CStreamOutput&) = delete;
    CStreamOutput& operator=(const CStreamOutput&) = delete;

    /// "-" is standard output; false with the problem on failure.
    bool Open(const std::string& path, std::string& problem);
    /// Empties it, the first time.
    void Begin();
    /// Null before Open.
    std::FILE* Get() const { return m_pFile; }

private:
    std::FILE* m_pFile = nullptr;
    std::string m_strMade;  // its path where there was none before
    bool m_bBegun = false;
};

}  // namespace lumo
