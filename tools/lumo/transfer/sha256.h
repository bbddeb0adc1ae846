// SHA-256 piece by piece.
#pragma once

#include "tools/lumo/transfer/messages.h"

#include <cstddef>
#include <memory>
#include <string>

#include <openssl/evp.h>

namespace lumo {

class CSha256 {
public:
    CSha256() : m_pContext(EVP_MD_CTX_new()) { Restart(); }

    void Restart() { m_bOk = m_pContext && EVP_DigestInit_ex(m_pContext.get(), EVP_sha256(), nullptr) == 1; }
    void Add(const char* data, size_t length) {
        m_bOk = m_bOk && EVP_DigestUpdate(m_pContext.get(), data, length) == 1;
    }
    /// False when the library failed; the digest is then all zeros.
    bool Finish(Digest& digest) {
        digest = Digest{};
        m_bOk = m_bOk && EVP_DigestFinal_ex(m_pContext.get(), digest.data(), nullptr) == 1;
        return m_bOk;
    }

private:
    struct Free {
        void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
    };
    std::unique_ptr<EVP_MD_CTX, Free> m_pContext;
    bool m_bOk = false;
};

std::string HexOf(const Digest& digest);

}  // namespace lumo
