// A step that is taken back unless those after it succeed too.
#pragma once

#include <utility>

/// Runs `action` when it goes, whatever is thrown meanwhile, unless Keep was called. What `action` throws is dropped.
template <class Action>
class CUndo {
public:
    explicit CUndo(Action action) : m_action(std::move(action)) {}
    ~CUndo() {
        if (!m_bArmed) return;
        try {
            m_action();
        } catch (...) {  // there is nobody to tell
        }
    }
    CUndo(const CUndo&) = delete;
    CUndo& operator=(const CUndo&) = delete;

    void Keep() { m_bArmed = false; }

private:
    Action m_action;
    bool m_bArmed = true;
};
