#include "tools/lumo/media/picture_sink.h"

#include "platform/lumonet/file_descriptor.h"
#include "tools/lumo/net/target.h"
#include "tools/lumo/transfer/error_text.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <memory>

namespace lumo {
namespace fs = std::filesystem;
namespace {

constexpr uint64_t kMostNumber = 999999999999;

struct CloseFile {
    void operator()(std::FILE* file) const { static_cast<void>(std::fclose(file)); }
};

bool Write(std::FILE* file, const std::string& bytes) {
    return std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size() && std::fflush(file) == 0;
}

std::string NumberText(uint64_t number) {
    const std::string digits = std::to_string(number);
    return std::string(digits.size() < 8 ? 8 - digits.size() : 0, '0') + digits;
}

}  // namespace

bool CPictureSink::Fail(const std::string& what) {
    m_strProblem = "cannot write " + what + ": " + ErrorText(errno);
    return false;
}

CPictureFiles::~CPictureFiles() {
    std::error_code ignored;
    if (m_bMade) fs::remove(m_strFolder, ignored);
}

bool CPictureFiles::Open(const std::string& path) {
    std::error_code error;
    m_bMade = fs::create_directories(path, error);
    for (fs::directory_iterator entry(path, error), end; !error && entry != end; entry.increment(error))
        m_ullNumber = std::max(m_ullNumber, ParseNumber(entry->path().stem().string(), kMostNumber));
    m_strFolder = path;
    errno = error.value();
    return !error || Fail("into " + path);
}

bool CPictureFiles::Put(const Picture& picture) {
    const std::string path = m_strFolder + "/" + NumberText(++m_ullNumber) + "." + ExtensionOf(picture.format);
    const std::string part = path + ".part";
    std::unique_ptr<std::FILE, CloseFile> file(std::fopen(part.c_str(), "wbe"));
    if (!file || !Write(file.get(), picture.bytes)) return Fail(part);
    file.reset();
    return std::rename(part.c_str(), path.c_str()) == 0 || Fail(path);
}

bool CPictureOutput::Put(const Picture& picture) { return Write(m_pFile, picture.bytes) || Fail("to standard output"); }

}  // namespace lumo
