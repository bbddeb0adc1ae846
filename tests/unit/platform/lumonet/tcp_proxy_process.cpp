#include "tcp_proxy_process.h"

#include "tcp_support.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

extern char** environ;

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
    std::string pattern = (std::filesystem::temp_directory_path() / "lumo-proxy-XXXXXX").string();
    if (!mkdtemp(pattern.data())) return;
    m_folder = pattern;
    for (int i = 0; i < 5 && !m_bUp; ++i) {  // somebody else may take the port first
        m_usPort = FreePort();
        std::ofstream(m_folder + "/config") << config(m_usPort);
        if (!Start(command(m_usPort, m_folder + "/config"))) return;
        bool ended = false;
        Eventually([&] { return (m_bUp = static_cast<bool>(CRawPeer::Dial(m_usPort))) || (ended = HasEnded()); });
        m_bUp = m_bUp && !ended && !HasEnded();
    }
}

CProxyProcess::~CProxyProcess() {
    if (m_pid > 0) {
        kill(m_pid, SIGTERM);
        if (!Eventually([this] { return HasEnded(); })) kill(m_pid, SIGKILL);
    }
    std::error_code ignored;
    if (!m_folder.empty()) std::filesystem::remove_all(m_folder, ignored);
}

bool CProxyProcess::Start(const std::vector<std::string>& command) {
    std::vector<char*> arguments;
    for (const std::string& argument : command) arguments.push_back(const_cast<char*>(argument.c_str()));
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_addopen(&files, 1, (m_folder + "/output").c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    posix_spawn_file_actions_adddup2(&files, 1, 2);
    const int result = posix_spawn(&m_pid, arguments[0], &files, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&files);
    if (result != 0) m_pid = -1;
    return result == 0;
}

bool CProxyProcess::HasEnded() {
    if (m_pid > 0 && waitpid(m_pid, nullptr, WNOHANG) == m_pid) m_pid = -1;
    return m_pid < 0;
}

std::string CProxyProcess::Output() const {
    std::stringstream text;
    text << std::ifstream(m_folder + "/output").rdbuf();
    return text.str();
}

}  // namespace tcp_test
