// Which handlers a fuzz target has reached: printed at the end, and an unreached one makes the run fail.
#pragma once

#include <set>
#include <string>
#include <vector>

/// One per target, of static storage. Prints and judges when the process ends; inputs come from one thread.
class CReach {
public:
    CReach(std::string target, std::vector<std::string> handlers);
    /// Judges; ends the process itself when a handler was not reached, since that is how a fuzzer's run comes to fail.
    ~CReach();
    CReach(const CReach&) = delete;
    CReach& operator=(const CReach&) = delete;
    /// Counts only the names given at construction.
    void Hit(const std::string& handler);

private:
    std::string m_target;
    std::set<std::string> m_unreached;
    std::set<std::string> m_reached;
};
