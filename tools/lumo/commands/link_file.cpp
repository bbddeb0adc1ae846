#include "tools/lumo/commands/link_file.h"

#include "platform/lumonet/file_descriptor.h"
#include "tools/lumo/transfer/error_text.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <iterator>

namespace lumo {
namespace {

constexpr size_t kMostText = 1000;  // far more than the line around a link has

termios g_shown{};  // the terminal's settings before

void ShowAgainAndEnd(int signal) {
    tcsetattr(STDIN_FILENO, TCSANOW, &g_shown);
    raise(signal);  // which ends the program when this handler returns
}

/// The terminal shows nothing of what is typed meanwhile, and does again also where a signal ends the program.
class CSilentTerminal {
public:
    CSilentTerminal() : m_bTerminal(tcgetattr(STDIN_FILENO, &g_shown) == 0) {
        if (!m_bTerminal) return;
        struct sigaction action {};
        action.sa_handler = ShowAgainAndEnd;
        action.sa_flags = static_cast<int>(SA_RESETHAND);
        for (size_t i = 0; i < std::size(kEnding); ++i) {
            sigaction(kEnding[i], &action, &m_before.at(i));
            if (m_before.at(i).sa_handler == SIG_IGN) sigaction(kEnding[i], &m_before.at(i), nullptr);
        }
        termios silent = g_shown;
        silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        tcsetattr(STDIN_FILENO, TCSADRAIN, &silent);
    }
    ~CSilentTerminal() {
        if (!m_bTerminal) return;
        tcsetattr(STDIN_FILENO, TCSADRAIN, &g_shown);
        for (size_t i = 0; i < std::size(kEnding); ++i) sigaction(kEnding[i], &m_before.at(i), nullptr);
    }
    CSilentTerminal(const CSilentTerminal&) = delete;
    CSilentTerminal& operator=(const CSilentTerminal&) = delete;
    bool IsTerminal() const { return m_bTerminal; }

private:
    static constexpr int kEnding[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};

    std::array<struct sigaction, std::size(kEnding)> m_before{};
    const bool m_bTerminal;
};

/// The first line with something in it, and of that the link alone where it stands in a command.
std::string ReadLink(int fd) {
    std::string line;
    line.reserve(kMostText);
    char byte = 0;
    while (line.size() < kMostText && read(fd, &byte, 1) == 1 && (byte != '\n' || line.empty())) {
        if (byte != '\n' && byte != '\r') line += byte;
    }
    size_t link = line.find(kLinkScheme);
    if (link == std::string::npos) link = line.find_first_not_of(" \t");
    std::string text;
    if (link != std::string::npos) text = line.substr(link, line.find_first_of(" \t", link) - link);
    WipeText(line);
    return text;
}

}  // namespace

LinkFile ReadLinkFile(const std::string& path, std::string& text, std::string& problem) {
    const CFileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file && errno == ENOENT) return LinkFile::Absent;
    struct stat status {};
    if (!file || fstat(file.Get(), &status) != 0) {
        problem = path + ": " + ErrorText(errno);
        return LinkFile::Unusable;
    }
    if (S_ISREG(status.st_mode) && (status.st_mode & 077U) != 0) {
        problem = path + ": others may read or change it, and it is to hold a secret: chmod 600";
        return LinkFile::Unusable;
    }
    text = ReadLink(file.Get());
    if (!text.empty()) return LinkFile::Read;
    problem = path + ": there is no link in it";
    return LinkFile::Unusable;
}

bool KeepLinkFile(const std::string& path, const ShareLink& link, std::string& problem) {
    const CFileDescriptor file(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    std::string text = SecretText(link);
    text += "\n";
    const auto length = static_cast<ssize_t>(text.size());
    const bool kept = file && fchmod(file.Get(), 0600) == 0 && write(file.Get(), text.data(), text.size()) == length;
    WipeText(text);
    if (kept) return true;
    problem = path + ": " + ErrorText(errno);
    if (file) unlink(path.c_str());
    return false;
}

std::string AskForLink() {
    const CSilentTerminal terminal;
    if (!terminal.IsTerminal()) return ReadLink(STDIN_FILENO);
    WriteOut(STDERR_FILENO, "link, which is not shown: ");
    std::string text = ReadLink(STDIN_FILENO);
    WriteOut(STDERR_FILENO, "\n");
    return text;
}

void WriteOut(int fd, const std::string& text) {
    std::fflush(fd == STDOUT_FILENO ? stdout : stderr);
    for (size_t done = 0; done < text.size();) {
        const ssize_t put = write(fd, text.data() + done, text.size() - done);
        if (put < 0 && errno == EINTR) continue;
        if (put <= 0) return;
        done += static_cast<size_t>(put);
    }
}

}  // namespace lumo
