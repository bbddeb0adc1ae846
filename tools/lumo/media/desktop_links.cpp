#include "tools/lumo/media/desktop_links.h"

namespace lumo {

IDesktopReceiver* MakeDesktopReceiverTCP(IDesktopReceiverNotify& notify, unsigned long channel, unsigned long far0,
                                         unsigned long far1, unsigned long far2, unsigned short farPort,
                                         unsigned long near0, unsigned long near1, unsigned long near2,
                                         unsigned short nearPort, int, int proxyType, const char* proxyHost,
                                         unsigned short proxyPort, const char* proxyUser, const char* proxyPassword) {
    return CreateDesktopReceiverTCP(notify, channel, far0, far1, far2, farPort, near0, near1, near2, nearPort,
                                    proxyType, proxyHost, proxyPort, proxyUser, proxyPassword);
}

}  // namespace lumo
