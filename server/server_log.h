// The server's own lines: what comes and goes, for the operator.
#pragma once

#include <functional>
#include <memory>
#include <string>

/// Lines go to standard error from a thread of their own, so that a stalled terminal stalls nobody; lines that cannot
/// be kept up with are dropped, oldest first. Any thread.
class CServerLog {
public:
    CServerLog();
    /// For tests: every line goes to `take`.
    explicit CServerLog(std::function<void(const std::string&)> take);
    ~CServerLog();
    CServerLog(const CServerLog&) = delete;
    CServerLog& operator=(const CServerLog&) = delete;

    void Line(const std::string& line);

private:
    struct Impl;
    std::unique_ptr<Impl> m_pImpl;
    std::function<void(const std::string&)> m_take;
};
