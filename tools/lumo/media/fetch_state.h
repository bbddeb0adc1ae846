// What a publisher that turns bytes into frames says when it looks for the next one.
#pragma once

namespace lumo {

enum class FetchState {
    Ready,
    NeedMore,
    GoOn,  ///< the input goes on elsewhere
    End,
    Failed,
};

}  // namespace lumo
