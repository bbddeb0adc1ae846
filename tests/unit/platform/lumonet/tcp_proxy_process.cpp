#include "tcp_proxy_process.h"

#include "tcp_support.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>

#include <cstdlib>
#include <sstream>

namespace tcp_test {

std::string FindProxyProgram(const std::string& name) {
    const char* path = std::getenv("PATH");
    std::stringstream folders(std::string(path ? path : "") + ":/usr/local/sbin:/usr/sbin:/sbin");
    for (std::string folder; std::getline(folders, folder, ':');) {
        const std::string program = folder + "/" + name;
        if (access(program.c_str(), X_OK) == 0) return program;
    }
    return "";
}

CProxyProcess::CProxyProcess(const Command& command, const Config& config) {
    for (int i = 0; i < 5 && !m_bUp; ++i) {  // somebody else may take the port first
        m_usPort = FreePort();
        m_folder.Put("config", config(m_usPort));
        if (!Start(command(m_usPort, m_folder / "config"))) return;
        bool ended = false;
        Eventually([&] { return (m_bUp = static_cast<bool>(CRawPeer::Dial(m_usPort))) || (ended = HasEnded()); });
        m_bUp = m_bUp && !ended && !HasEnded();
    }
}

CProxyProcess::~CProxyProcess() {
    if (m_pid <= 0) return;
    kill(m_pid, SIGTERM);
    if (!Eventually([this] { return HasEnded(); })) kill(m_pid, SIGKILL);
}

bool CProxyProcess::Start(const std::vector<std::string>& command) {
    std::vector<char*> arguments;
    for (const std::string& argument : command) arguments.push_back(const_cast<char*>(argument.c_str()));
    arguments.push_back(nullptr);
    const CFileDescriptor output(open((m_folder / "output").c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600));
    m_pid = fork();
    if (m_pid == 0) {
        for (const int stream : {1, 2}) dup2(output.Get(), stream);
        execv(arguments[0], arguments.data());
        _exit(127);
    }
    return m_pid > 0;
}

bool CProxyProcess::HasEnded() {
    if (m_pid > 0 && waitpid(m_pid, nullptr, WNOHANG) == m_pid) m_pid = -1;
    return m_pid < 0;
}

}  // namespace tcp_test
