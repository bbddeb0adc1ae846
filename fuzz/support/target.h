// A fuzz target: what is done with an input, and which handlers inputs must reach. A fuzzer's program holds one target,
// the program that runs the seeds holds all.
#pragma once

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

/// One per target, of static storage; inputs come from one thread. One that has run prints what it has reached when the
/// process ends, and makes it fail if that is not all.
class CFuzzTarget {
public:
    CFuzzTarget(std::string name, const std::vector<std::string>& handlers,
                void (*take)(const uint8_t* data, size_t size));
    /// Judges; ends the process itself when a handler was not reached, since that is how a fuzzer's run comes to fail.
    ~CFuzzTarget();
    CFuzzTarget(const CFuzzTarget&) = delete;
    CFuzzTarget& operator=(const CFuzzTarget&) = delete;
    void Run(const uint8_t* data, size_t size);
    /// Counts only the names given at construction.
    void Hit(const std::string& handler);
    const std::string& Name() const { return m_name; }
    /// Those of this program.
    static std::vector<CFuzzTarget*>& All();

private:
    std::string m_name;
    void (*m_take)(const uint8_t* data, size_t size);
    std::set<std::string> m_unreached;
    std::set<std::string> m_reached;
    bool m_bHasRun = false;
};
