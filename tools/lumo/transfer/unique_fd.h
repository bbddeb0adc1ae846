// A descriptor that closes itself.
#pragma once

#include <unistd.h>

#include <string>
#include <system_error>
#include <utility>

namespace lumo {

class CUniqueFd {
public:
    explicit CUniqueFd(int fd = -1) : m_nFd(fd) {}
    ~CUniqueFd() { Reset(); }
    CUniqueFd(CUniqueFd&& other) noexcept : m_nFd(std::exchange(other.m_nFd, -1)) {}
    CUniqueFd& operator=(CUniqueFd&& other) noexcept {
        if (this != &other) Reset(std::exchange(other.m_nFd, -1));
        return *this;
    }
    CUniqueFd(const CUniqueFd&) = delete;
    CUniqueFd& operator=(const CUniqueFd&) = delete;

    int Get() const { return m_nFd; }
    explicit operator bool() const { return m_nFd >= 0; }
    void Reset(int fd = -1) {
        if (m_nFd >= 0) close(m_nFd);
        m_nFd = fd;
    }

private:
    int m_nFd;
};

/// The text of an errno value; unlike strerror, on any thread.
inline std::string ErrorText(int error) { return std::generic_category().message(error); }

}  // namespace lumo
