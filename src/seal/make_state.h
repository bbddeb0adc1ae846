// The inside of a public object, made without letting an exception out.
#pragma once

#include <new>
#include <utility>

namespace seal {

/// Null for want of memory.
template <class State, class... Arguments>
State* MakeState(Arguments&&... arguments) noexcept {
    try {
        return new State(std::forward<Arguments>(arguments)...);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

}  // namespace seal
