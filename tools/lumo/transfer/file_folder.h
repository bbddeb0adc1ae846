// The two places where files that arrive may go: a directory, or spool files that are copied to standard output.
#pragma once

#include "tools/lumo/transfer/file_store.h"
#include "tools/lumo/transfer/part_file.h"
#include "tools/lumo/transfer/unique_fd.h"

#include <memory>
#include <string>

namespace lumo {

class CFileFolder : public IFileFolder {
public:
    CFileFolder(CUniqueFd folder, bool force) : m_folder(std::move(folder)), m_bForce(force) {}

    OpenResult Open(const Offer& offer, std::unique_ptr<IFileStore>& store, std::string& problem,
                    Failure& reason) override;

private:
    struct Refusal {
        Failure reason = Failure::None;
        std::string problem;
    };
    bool Claim(const Offer& offer);
    /// Looks at what has the final name; a file that may be the offered one is opened.
    bool CheckTarget(const Offer& offer, CUniqueFd& existing, Refusal& refusal);
    /// Opens a file of ours for writing, never through a link.
    CUniqueFd OpenOwn(const std::string& name, bool mayExist, Refusal& refusal);
    bool OpenFiles(const Offer& offer, PartFiles& files, Refusal& refusal);
    bool HasRoom(const Offer& offer, const IFileStore& store, Refusal& refusal);
    OpenResult OpenPart(const Offer& offer, std::unique_ptr<IFileStore>& store, Refusal& refusal);

    CUniqueFd m_folder;
    const bool m_bForce;
    std::shared_ptr<NameClaims> m_pClaims = std::make_shared<NameClaims>();
};

/// An unnamed file in the directory for temporary files; null with errno set when there can be none.
CUniqueFd MakeSpoolFile();

class CSpoolFolder : public IFileFolder {
public:
    OpenResult Open(const Offer& offer, std::unique_ptr<IFileStore>& store, std::string& problem,
                    Failure& reason) override;
};

}  // namespace lumo
