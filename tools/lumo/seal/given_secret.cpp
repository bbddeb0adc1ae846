#include "tools/lumo/seal/given_secret.h"

#include "tools/lumo/net/share_link.h"

#include <sys/prctl.h>

#include <cstdlib>
#include <cstring>

namespace lumo {
namespace {

constexpr const char* kVariable = "LUMO_SECRET";

/// Moves a text, of which the system shows the memory it was in.
void TakeText(char* from, std::string& to) {
    const size_t length = std::strlen(from);
    WipeText(to);
    to.assign(from, length);
    CSealSecret::Wipe(from, static_cast<int>(length));
}

}  // namespace

GivenSecret::~GivenSecret() {
    WipeText(afterLink);
    WipeText(variable);
}

GivenSecret& Given() {
    static GivenSecret given;
    return given;
}

void TakeGivenSecret(int argc, char** argv) {
    GivenSecret& given = Given();
    for (int i = 1; i < argc; ++i) {
        char* const link = std::strstr(argv[i], kLinkScheme);
        char* const hash = link ? std::strchr(link, '#') : nullptr;
        if (!hash) continue;
        given.hasAfterLink = true;
        TakeText(hash + 1, given.afterLink);
    }
    char* const variable = std::getenv(kVariable);  // NOLINT(concurrency-mt-unsafe): there is one thread
    if (!variable) return;
    given.hasVariable = true;
    TakeText(variable, given.variable);
    unsetenv(kVariable);  // NOLINT(concurrency-mt-unsafe): as above
}

void KeepMemoryPrivate() { prctl(PR_SET_DUMPABLE, 0); }

}  // namespace lumo
