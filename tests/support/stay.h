// A callback that stays inside until the test lets it go.
#pragma once

#include <atomic>
#include <future>

class CStay {
public:
    /// Inside the callback. Once.
    void Stay() {
        m_entered.set_value();
        m_leave.get_future().wait();
        m_bLeft = true;
    }
    void WaitUntilInside() { m_entered.get_future().wait(); }
    void LetGo() { m_leave.set_value(); }
    bool HasLeft() const { return m_bLeft; }

private:
    std::promise<void> m_entered, m_leave;
    std::atomic<bool> m_bLeft{false};
};
