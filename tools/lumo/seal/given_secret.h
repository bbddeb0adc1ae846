// Secrets from where other users of this host could read them: a process's command line and environment.
#pragma once

#include <string>

namespace lumo {

/// What was given, taken away from there. Wiped when it goes.
struct GivenSecret {
    std::string afterLink;  ///< what followed # in a link on the command line, which ends there now
    std::string variable;   ///< LUMO_SECRET, which is set no longer
    bool hasAfterLink = false;
    bool hasVariable = false;

    GivenSecret() = default;
    ~GivenSecret();
    GivenSecret(const GivenSecret&) = delete;
    GivenSecret& operator=(const GivenSecret&) = delete;
};

/// Takes what is there, and overwrites it: before anything else, and while there is one thread.
void TakeGivenSecret(int argc, char** argv);
/// This process's.
GivenSecret& Given();

/// Before a secret is read or drawn: a crash then leaves no core dump with it, and the user's other processes cannot
/// look into this one.
void KeepMemoryPrivate();

}  // namespace lumo
