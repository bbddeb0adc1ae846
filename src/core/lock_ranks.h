// Places of the session's locks in the lock order; the rest of the order stands one floor up.
#pragma once

inline constexpr int kRankSessionWindow = 800;
inline constexpr int kRankSessionPending = 900;
inline constexpr int kRankSessionHeld = 910;  // of a wide session, as the next
inline constexpr int kRankSessionAcks = 920;
