// QUIC by Debian's ngtcp2 programs: the sender's side starts gtlsserver with a large file, the receiver's gtlsclient.
// What counts is the file's bytes that the client has written, from the first on, as whole frames count elsewhere.
#include "bench/harness/clock.h"
#include "bench/harness/frames.h"
#include "bench/harness/sockets.h"
#include "bench/transports/transports.h"
#include "platform/lumonet/file_descriptor.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>
#include <nlohmann/json.hpp>

#include <filesystem>
#include <stdexcept>

namespace bench {

namespace {

constexpr char kServer[] = "/usr/sbin/gtlsserver";
constexpr char kClient[] = "/usr/bin/gtlsclient";
constexpr char kOpenssl[] = "/usr/bin/openssl";
constexpr char kFile[] = "file";
constexpr off_t kFileBytes = off_t{8} << 30;  // a hole: more than any run takes, and nothing on the disk
constexpr int kStartMs = 10000;
constexpr size_t kReadBytes = 65536;

void Need(const char* program, const char* package) {
    if (access(program, X_OK) != 0)
        throw std::runtime_error(std::string(program) + " is not there; the package is " + package);
}

std::string InWords(uint32_t host) {
    const in_addr address{htonl(host)};
    char text[INET_ADDRSTRLEN] = {};
    inet_ntop(AF_INET, &address, text, sizeof text);
    return text;
}

CProcess::Options Silent() {
    CProcess::Options options;
    options.silent = true;
    return options;
}

class CTempFolder {
public:
    CTempFolder() {
        std::string name = std::filesystem::temp_directory_path() / "quic.XXXXXX";
        if (!mkdtemp(name.data())) throw std::runtime_error("mkdtemp");
        m_folder = name;
    }
    ~CTempFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(m_folder, ignored);
    }
    CTempFolder(const CTempFolder&) = delete;
    CTempFolder& operator=(const CTempFolder&) = delete;
    std::string operator/(const char* name) const { return m_folder / name; }
    std::string Name() const { return m_folder; }

private:
    std::filesystem::path m_folder;
};

void MakeCertificate(const CTempFolder& folder) {
    CProcess openssl({kOpenssl, "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2", "-subj", "/CN=bench",
                      "-keyout", folder / "key", "-out", folder / "certificate"},
                     Silent());
    if (!openssl.WaitForEnd(kStartMs) || !openssl.Complaint().empty()) throw std::runtime_error("no certificate");
}

bool IsFree(uint16_t port) {
    try {
        CSocket(SOCK_DGRAM).Bind(port);
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

void WaitUntilServing(CProcess& server, uint16_t port) {
    for (int waited = 0; IsFree(port); ++waited) {
        if (server.WaitForEnd(1) || waited > kStartMs) throw std::runtime_error("gtlsserver does not serve");
    }
}

void Serve(CSide& side) {
    Need(kServer, "ngtcp2-server");
    Need(kOpenssl, "openssl");
    const CTempFolder folder;
    MakeCertificate(folder);
    const std::string site = folder / "site";
    std::filesystem::create_directory(site);
    const std::string file = site + "/" + kFile;
    const CFileDescriptor hole(open(file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
    if (ftruncate(hole.Get(), kFileBytes) != 0) throw std::runtime_error("no file to serve");
    const uint16_t port = CSocket(SOCK_DGRAM).Bind(0);
    CProcess server({kServer, "-q", "--no-quic-dump", "--no-http-dump", "--cc=bbr2", "--htdocs=" + site,
                     InWords(RunHosts().own), std::to_string(port), folder / "key", folder / "certificate"},
                    Silent());
    WaitUntilServing(server, port);
    side.Counts(server);
    side.Listening(port);
    side.Connected();
    side.WaitForStop();
}

/// The client takes the pipe for the file that it writes.
CFileDescriptor MakePipe(const std::string& path) {
    if (mkfifo(path.c_str(), 0600) != 0) throw std::runtime_error("no pipe");
    return CFileDescriptor(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
}

/// Until the run is over: the client must not wait for room in the pipe.
void Count(CSide& side, int pipe, CProcess& client) {
    CGoodput goodput(side.Spec());
    std::vector<char> bytes(kReadBytes);
    for (bool finished = false; !finished || !side.Stopped();) {
        pollfd wait{pipe, POLLIN, 0};
        poll(&wait, 1, 100);
        const ssize_t got = read(pipe, bytes.data(), bytes.size());
        if (got > 0 && goodput.Take(NowNs(), static_cast<uint64_t>(got)) && !finished) {
            finished = true;
            side.Finish(goodput.Result());
        }
        if (!finished && client.WaitForEnd(0)) throw std::runtime_error("gtlsclient " + client.Complaint());
    }
}

void Fetch(CSide& side) {
    Need(kClient, "ngtcp2-client");
    const CTempFolder folder;
    const CFileDescriptor pipe = MakePipe(folder / kFile);
    const std::string host = InWords(RunHosts().far), port = std::to_string(side.Port());
    std::string uri = "https://";
    uri.append(host).append(":").append(port).append("/").append(kFile);
    side.Connected();
    CProcess client({kClient, "-q", "--no-quic-dump", "--no-http-dump", "--cc=bbr2", "--download=" + folder.Name(),
                     host, port, uri},
                    Silent());
    side.Counts(client);
    Count(side, pipe.Get(), client);
}

nlohmann::json Settings() {
    return {{"programs", "gtlsserver and gtlsclient of Debian's ngtcp2-server and ngtcp2-client"},
            {"--cc", "bbr2"},
            {"flow control", "the client's own: windows of up to 24 MiB"},
            {"encryption", "TLS 1.3, which cannot be left out"}};
}

}  // namespace

std::vector<CDriver> QuicDrivers() { return {{"quic-bbr2", Role::Receiver, Listener::Sender, Serve, Fetch, Settings}}; }

}  // namespace bench
