// Files of ours in a directory where others may write as well.
#pragma once

#include "platform/lumonet/file_descriptor.h"
#include "tools/lumo/transfer/messages.h"

#include <memory>
#include <string>

namespace lumo {

/// Why a file is not taken: what the sender is told, and what the user reads.
struct Refusal {
    Failure reason = Failure::None;
    std::string problem;
};

/// What a failed system call means to a transfer.
Failure FailureOf(int error);

/// Makes or opens `name` for writing and locks it: a regular file that we made, or that one who makes files as we do
/// has made, never reached through a link. Null with `refusal`.
CFileDescriptor OpenOwnFile(int folder, const std::string& name, Refusal& refusal);

/// A folder that is kept open while somebody needs it.
using SharedFolder = std::shared_ptr<const CFileDescriptor>;

/// Opens the folder `name`, which no link may stand for; `make` makes it where nothing is. A stranger's own is refused:
/// he could change what arrives. Null with `refusal`.
SharedFolder OpenOwnFolder(int above, const std::string& name, bool make, Refusal& refusal);

/// Whether `name` leads to the open file.
bool IsNamed(int folder, const std::string& name, int fd);

/// Renames `from` to `to` unless something has that name: then false and EEXIST. Works on file systems that know
/// neither exclusive renames nor hard links.
bool RenameExclusively(int folder, const std::string& from, const std::string& to);

/// Whether a call failed because this file system does not know it, not because something is wrong.
bool IsUnknownHere(int error);

}  // namespace lumo
