// Where the pictures of a viewed screen go.
#pragma once

#include "tools/lumo/media/picture.h"

#include <cstdint>
#include <cstdio>
#include <string>

namespace lumo {

/// One thread.
class CPictureSink {
public:
    virtual ~CPictureSink() = default;
    /// False, with the problem, when it cannot be written; the next one may be tried.
    virtual bool Put(const Picture& picture) = 0;
    const std::string& Problem() const { return m_strProblem; }

protected:
    bool Fail(const std::string& what);

private:
    std::string m_strProblem;
};

/// Numbered files of a directory, 00000001.jpg and so on, each under its name when it is whole. What is there already
/// stays: numbers go on behind it.
class CPictureFiles final : public CPictureSink {
public:
    ~CPictureFiles() override;
    /// Makes the directory unless it is there; without a picture it goes again.
    bool Open(const std::string& path);
    bool Put(const Picture& picture) override;

private:
    std::string m_strFolder;
    bool m_bMade = false;
    uint64_t m_ullNumber = 0;  // of the last one
};

/// One picture behind the other.
class CPictureOutput final : public CPictureSink {
public:
    explicit CPictureOutput(std::FILE* file) : m_pFile(file) {}
    bool Put(const Picture& picture) override;

private:
    std::FILE* const m_pFile;
};

}  // namespace lumo
