// The library's part of this process.
#pragma once

#include <lumomedia/local_mcu.h>

namespace lumo {

class CLocalMcu {
public:
    CLocalMcu() : m_pManager(CreateLocalMcuMgr(0)) {}
    ~CLocalMcu() {
        if (m_pManager) m_pManager->ReleaseConnections();
    }
    CLocalMcu(const CLocalMcu&) = delete;
    CLocalMcu& operator=(const CLocalMcu&) = delete;
    bool Ok() const { return m_pManager != nullptr; }
    unsigned short Port() const { return m_pManager ? m_pManager->GetLocalPort() : 0; }

private:
    ILocalMcuMgr* m_pManager;
};

}  // namespace lumo
