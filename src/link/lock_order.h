// The order in which one thread may take locks, outermost first. Equal ranks nest only on the UDP thread.
#pragma once

namespace lock_order {

inline constexpr int kConnectGate = 100;  // looking a channel up, making a sink and entering it is one step
inline constexpr int kMediumTable = 200;  // sinks, receivers, senders, sessions of a medium
inline constexpr int kPeerMap = 300;
inline constexpr int kChannelTable = 400;
inline constexpr int kChannelSinks = 500;  // a channel's sink list
inline constexpr int kChannelReceiver = 510;
inline constexpr int kBoardObjects = 520;  // a whiteboard's objects, those who joined it, its sessions
inline constexpr int kBoardJoins = 530;
inline constexpr int kBoardSessions = 540;
// 550 a memory budget's holders: platform/lumobase/memory_budget.h
inline constexpr int kDueLinks = 590;  // held while links do what is due
inline constexpr int kBurst = 595;     // held while links do what a burst of datagrams has brought
inline constexpr int kPump = 600;
inline constexpr int kHeldLink = 650;
// 800 session window: core/lock_ranks.h
inline constexpr int kFrameQueue = 850;  // a wide session takes its frames there
// 900 session pending, 910 what a wide session holds, 920 its acknowledgements: core/lock_ranks.h
inline constexpr int kLinkRegistry = 1000;  // the live links, also while one of them is described
inline constexpr int kDeadlines = 1050;     // the heap of the links' deadlines
inline constexpr int kLeaf = 1100;          // holds nothing else, is held for a few instructions

}  // namespace lock_order
