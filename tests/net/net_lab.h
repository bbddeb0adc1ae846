// Hosts and NATs in network namespaces of the test's own.
#pragma once

#include <string>
#include <vector>

namespace net {

/// How a NAT maps what leaves.
enum class Mapping { KeepsPort, Random };

/// A bridge 203.0.113.0/24 is "the internet"; hosts stand on it or behind NATs. What comes unasked is dropped, not
/// answered: an answer, or a trace of it in the NAT, would move the mapping that the hole needs.
class CNetLab {
public:
    /// False, with the reason, where namespaces cannot be made.
    static bool Available(std::string& why);

    CNetLab();
    ~CNetLab();
    CNetLab(const CNetLab&) = delete;
    CNetLab& operator=(const CNetLab&) = delete;

    /// A host on the bridge: 203.0.113.`number`.
    void AddPublicHost(const std::string& name, int number);
    /// A NAT 203.0.113.`number` with the network 10.0.`number`.0/24 behind it. It drops so many packets of a hundred,
    /// and forwards all TCP from outside to host 2 when it is to.
    void AddNat(const std::string& name, int number, Mapping mapping, int lossPercent = 0, bool forwards = false);
    /// 10.0.`number of the NAT`.`host`.
    void AddHostBehind(const std::string& name, const std::string& nat, int number, int host);
    /// From now on nothing passes between the two NATs or hosts on the bridge.
    void Cut(int oneNumber, int otherNumber);

    /// The words that go before a program's to run it in a host.
    std::vector<std::string> At(const std::string& host) const { return {Find("ip"), "netns", "exec", Space(host)}; }
    bool Ok() const { return m_strProblem.empty(); }
    const std::string& Problem() const { return m_strProblem; }

private:
    std::string Space(const std::string& name) const { return m_strPrefix + name; }
    void AddSpace(const std::string& name);
    /// A cable from a host to a bridge of another one.
    void Connect(const std::string& host, const std::string& address, const std::string& hub);
    /// Runs words that blanks part, the second in a host.
    void Run(const std::string& line);
    void In(const std::string& name, const std::string& line) { Run("ip netns exec " + Space(name) + " " + line); }
    /// Where a program is; empty: nowhere.
    static std::string Find(const std::string& program);

    static inline int s_nLabs = 0;
    const std::string m_strPrefix;
    std::vector<std::string> m_spaces;
    std::string m_strProblem;
};

}  // namespace net
