#include "net/net_lab.h"

#include "tools/lumo/demo/child_process.h"

#include <unistd.h>

#include <iterator>
#include <sstream>

namespace net {
namespace {

constexpr uint64_t kDeadlineMs = 20000;
const char* const kHub = "wan";  // the namespace of the internet's bridge

std::string Wan(int number) { return "203.0.113." + std::to_string(number); }

std::string Lan(int number, int host) { return "10.0." + std::to_string(number) + "." + std::to_string(host); }

}  // namespace

std::string CNetLab::Find(const std::string& program) {
    for (const char* folder : {"/usr/sbin/", "/sbin/", "/usr/bin/", "/bin/"}) {
        if (access((folder + program).c_str(), X_OK) == 0) return folder + program;
    }
    return "";
}

bool CNetLab::Available(std::string& why) {
    if (Find("ip").empty() || Find("nft").empty()) {
        why = "ip and nft are not installed";
        return false;
    }
    CNetLab lab;
    lab.AddPublicHost("try", 200);
    lab.AddNat("nat", 201, Mapping::Random, 1, true);
    why = lab.Problem();
    return lab.Ok();
}

CNetLab::CNetLab() : m_strPrefix("lumo" + std::to_string(getpid()) + "-" + std::to_string(++s_nLabs) + "-") {
    AddSpace(kHub);
    In(kHub, "ip link add hub type bridge");
    In(kHub, "ip link set hub up");
}

CNetLab::~CNetLab() {
    for (const std::string& name : m_spaces) {
        m_strProblem.clear();  // each is taken down, whatever became of the others
        Run("ip netns del " + Space(name));
    }
}

void CNetLab::AddSpace(const std::string& name) {
    Run("ip netns add " + Space(name));
    if (Ok()) m_spaces.push_back(name);
    In(name, "ip link set lo up");
}

void CNetLab::Connect(const std::string& host, const std::string& address, const std::string& hub) {
    const std::string cable = "to-" + host, end = "eth-" + hub;
    In(hub, "ip link add " + cable + " type veth peer name " + end + " netns " + Space(host));
    In(hub, "ip link set " + cable + " master hub up");
    In(host, "ip address add " + address + "/24 dev " + end);
    In(host, "ip link set " + end + " up");
}

void CNetLab::AddPublicHost(const std::string& name, int number) {
    AddSpace(name);
    Connect(name, Wan(number), kHub);
}

void CNetLab::AddNat(const std::string& name, int number, Mapping mapping, int lossPercent, bool forwards) {
    AddPublicHost(name, number);
    In(name, "ip link add hub type bridge");
    In(name, "ip address add " + Lan(number, 1) + "/24 dev hub");
    In(name, "ip link set hub up");
    In(name, "sysctl -qw net.ipv4.ip_forward=1");
    std::string rules =
        "chain out { type nat hook postrouting priority srcnat; oifname eth-wan masquerade" +
        std::string(mapping == Mapping::Random ? " fully-random" : "") +
        "; }; chain unasked { type filter hook input priority filter; iifname eth-wan ct state new drop; };"
        " chain through { type filter hook forward priority filter;";
    if (lossPercent > 0) rules += " numgen random mod 100 < " + std::to_string(lossPercent) + " drop;";
    if (forwards) rules += " iifname eth-wan ct status dnat accept;";
    rules += " iifname eth-wan ct state new drop; };";
    if (forwards)
        rules += " chain in { type nat hook prerouting priority dstnat; iifname eth-wan meta l4proto tcp dnat to " +
                 Lan(number, 2) + "; };";
    In(name, "nft table ip lumo { " + rules + " }");
}

void CNetLab::AddHostBehind(const std::string& name, const std::string& nat, int number, int host) {
    AddSpace(name);
    Connect(name, Lan(number, host), nat);
    In(name, "ip route add default via " + Lan(number, 1));
}

void CNetLab::Cut(int oneNumber, int otherNumber) {
    const std::string one = Wan(oneNumber), other = Wan(otherNumber);
    In(kHub, "nft table bridge lumo { chain cut { type filter hook forward priority 0; ip saddr " + one + " ip daddr " +
                 other + " drop; ip saddr " + other + " ip daddr " + one + " drop; }; }");
}

void CNetLab::Run(const std::string& line) {
    if (!Ok()) return;
    std::istringstream in(line);
    std::vector<std::string> words{std::istream_iterator<std::string>(in), {}};
    words[0] = Find(words[0]);
    lumo::CChildProcess child;
    const bool ended = child.Start(words) && child.WaitForEnd(kDeadlineMs);
    if (!ended || child.ExitCode() != 0) m_strProblem = line + ": " + child.Errors();
}

}  // namespace net
