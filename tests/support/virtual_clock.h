// A clock that stands still until a test moves it.
#pragma once

#include "platform/lumobase/clock.h"

#include <atomic>
#include <cstdint>

/// Replaces the library's clock for its own lifetime; one at a time.
class CVirtualClock {
public:
    explicit CVirtualClock(uint32_t start = 1000000) {
        Value() = start;
        Lumo_Base::SetTimestampSource([]() -> unsigned long { return Value().load(); });
    }
    ~CVirtualClock() { Lumo_Base::SetTimestampSource(nullptr); }
    CVirtualClock(const CVirtualClock&) = delete;
    CVirtualClock& operator=(const CVirtualClock&) = delete;

    void Advance(uint32_t milliseconds) { Value() += milliseconds; }
    void Set(uint32_t now) { Value() = now; }
    uint32_t Now() const { return Value(); }

private:
    static std::atomic<uint32_t>& Value() {
        static std::atomic<uint32_t> value;
        return value;
    }
};
