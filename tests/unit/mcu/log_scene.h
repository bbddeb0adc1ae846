// A host with an application on it whose log lines a test compares word for word.
#pragma once

#include "lumomedia/file.h"
#include "lumomedia/local_mcu.h"
#include "support/log_capture.h"
#include "support/session_wire.h"
#include "support/test_manager.h"

#include <functional>
#include <string>
#include <vector>

namespace log_lines {

using session_wire::ReadU32;
using session_wire::U32;
using Lines = std::vector<std::string>;

class CApplication : public CFileChannel, public IFileSenderNotify, public IFileReceiverNotify {
public:
    CApplication() : CFileChannel(77) { Connect(); }
    void OnFileSinkData(const void*, int) override {}
    void OnFileSenderNotifyConnected(unsigned long, bool) override {}
    void OnFileReceiverNotifyConnected(unsigned long) override {}
    void OnFileReceiverNotifyData(const char*, int) override {}

    IFileSender* SenderUDP() { return CreateFileSenderUDP(*this, 77, CTestHost::kPeerIP, 0, 0, 7001); }
    IFileSender* SenderTCP(unsigned long channel = 77, unsigned short port = 7001) {
        return CreateFileSenderTCP(*this, channel, CTestHost::kPeerIP, 0, 0, port, 0, "", 0, "", "");
    }
    IFileReceiver* ReceiverUDP() {
        return CreateFileReceiverUDP(*this, 77, CTestHost::kPeerIP, 0, 0, 7001, 0, 0, 0, 0, false);
    }
    IFileReceiver* ReceiverTCP() {
        return CreateFileReceiverTCP(*this, 77, CTestHost::kPeerIP, 0, 0, 7001, 0x0a000003, 0, 0, 7002, 0, "", 0, "",
                                     "");
    }
};

/// A host with an application on it, and the lines that the last action wrote.
class CScene {
public:
    CTestHost host;
    CApplication app;
    CLogCapture log;

    /// Lines of `action` alone.
    Lines Of(const std::function<void()>& action) {
        log.Clear();
        action();
        return log.Lines();
    }
    uint32_t ConnectSink() {
        host.TakeSent();
        host.Deliver(Hex("0639") + U32(5) + U32(77));
        return ReadU32(host.TakeSent().at(0).bytes, 6);
    }
    uint32_t LastID(size_t offset) { return ReadU32(host.TakeSent().at(0).bytes, offset); }
};

inline Lines Received(int kind, size_t length, const std::string& name, Lines rest) {
    Lines lines{"CLocalMCUManager::OnUdpClientNotifyReceivedFrame. CMD : " + std::to_string(kind) +
                    ", Len : " + std::to_string(length) + ", IP : 10.0.0.2, Port : 7001",
                name};
    if (kind == 6) lines.emplace_back("CLocalMCUFile::OnUdpClientNotifyReceivedFrame");
    lines.insert(lines.end(), rest.begin(), rest.end());
    return lines;
}

inline std::string Sent(int length) {
    return "SendUdpData(nLen = " + std::to_string(length) + ", IP : 10.0.0.2, Port : 7001)";
}

struct LogRow {
    const char* name;
    std::function<void(CScene&, Lines& expected, Lines& seen)> run;
};

inline void PrintTo(const LogRow& row, std::ostream* out) { *out << row.name; }

}  // namespace log_lines
