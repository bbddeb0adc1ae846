#include "e2e/transfer_fixture.h"

#include "tools/lumo/net/loop.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <random>
#include <regex>

namespace e2e {

using lumo::CChildProcess;
namespace fs = std::filesystem;

namespace {

void Append(std::vector<std::string>& arguments, const std::vector<std::string>& more) {
    if (std::find(more.begin(), more.end(), "--path") == more.end())
        arguments.insert(arguments.end(), {"--path", "relay"});
    arguments.insert(arguments.end(), more.begin(), more.end());
}

}  // namespace

CTransferTest::CTransferTest() {
    std::string pattern = (fs::temp_directory_path() / "lumo-e2e-XXXXXX").string();
    m_folder = mkdtemp(pattern.data());
}

CTransferTest::~CTransferTest() { fs::remove_all(m_folder); }

void CTransferTest::Run(CChildProcess& child, std::vector<std::string> arguments, int input) {
    arguments.insert(arguments.begin(), LUMO_BUILD_DIR "/tools/lumo/lumo");
    ASSERT_TRUE(child.Start(arguments, input));
}

void CTransferTest::StartRelay(CChildProcess& relay, const std::string& address, const std::vector<std::string>& more) {
    std::vector<std::string> arguments{"mcu", "--listen", address, "--port", m_port, "--http", "off"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    Run(relay, arguments);
    ASSERT_TRUE(relay.WaitForText("listening on ", kDeadlineMs)) << relay.Errors();
    std::smatch match;
    const std::string said = relay.Output() + relay.Errors();
    ASSERT_TRUE(std::regex_search(said, match, std::regex("listening on [0-9.]+:([0-9]+)"))) << said;
    m_port = match[1];
}

std::string CTransferTest::ReflectorPort(const CChildProcess& relay) {
    std::smatch match;
    const std::string said = relay.Errors();
    return std::regex_search(said, match, std::regex("reflector on port ([0-9]+)")) ? match[1].str() : "";
}

void CTransferTest::StartSend(CChildProcess& child, const std::vector<std::string>& files,
                              const std::vector<std::string>& more) {
    std::vector<std::string> arguments{"send"};
    arguments.insert(arguments.end(), files.begin(), files.end());
    arguments.insert(arguments.end(), {"--mcu", Mcu(), "--channel", "77", "--json"});
    Append(arguments, more);
    Run(child, arguments);
}

void CTransferTest::StartReceive(CChildProcess& child, const std::string& folder,
                                 const std::vector<std::string>& more) {
    fs::create_directories(m_folder / folder);
    std::vector<std::string> arguments{"receive", "77", "--mcu", Mcu(), "--json", "--out", Path(folder)};
    Append(arguments, more);
    Run(child, arguments);
}

int CTransferTest::ExitOf(CChildProcess& child) {
    if (!child.WaitForEnd(kDeadlineMs)) return -1000;
    return child.ExitCode();
}

nlohmann::json CTransferTest::LastEvent(const CChildProcess& child) {
    const std::string text = child.Output().substr(0, child.Output().rfind('\n'));
    const size_t line = text.rfind('\n');
    return nlohmann::json::parse(line == std::string::npos ? text : text.substr(line + 1), nullptr, false);
}

bool CTransferTest::WaitForBytes(CChildProcess& receiver, uint64_t bytes) {
    const uint64_t start = lumo::CToolLoop::Now();
    while (receiver.Running() && lumo::CToolLoop::Now() - start < kDeadlineMs) {
        const nlohmann::json event = LastEvent(receiver);
        if (event.is_object() && event.value("event", "") == "progress" && event.value("bytes", uint64_t{0}) >= bytes)
            return true;
        receiver.Listen(1000);
    }
    return false;
}

std::string CTransferTest::MakeFile(const std::string& name, size_t size) const {
    std::mt19937_64 random(size);
    std::ofstream file(m_folder / name, std::ios::binary);
    for (size_t written = 0; written < size; written += 8) {
        const uint64_t word = random();
        file.write(reinterpret_cast<const char*>(&word),
                   static_cast<std::streamsize>(std::min<size_t>(8, size - written)));
    }
    return Path(name);
}

std::string CTransferTest::Content(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace e2e
