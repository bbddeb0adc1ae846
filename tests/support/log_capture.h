// The library's log lines of a test.
#pragma once

#include "lumomedia/base.h"

#include <mutex>
#include <string>
#include <vector>

/// Takes every line for its own lifetime.
class CLogCapture {
public:
    CLogCapture() { SetLogHook(&CLogCapture::Take, this); }
    ~CLogCapture() { SetLogHook(nullptr, nullptr); }
    CLogCapture(const CLogCapture&) = delete;
    CLogCapture& operator=(const CLogCapture&) = delete;

    std::vector<std::string> Lines() {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_lines;
    }
    void Clear() {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_lines.clear();
    }

private:
    static void Take(void* context, const char* line) {
        auto* self = static_cast<CLogCapture*>(context);
        std::lock_guard<std::mutex> lock(self->m_mutex);
        self->m_lines.emplace_back(line);
    }
    std::mutex m_mutex;
    std::vector<std::string> m_lines;
};
