// The two places where files that arrive may go: a directory, or spool files that are copied to standard output.
#pragma once

#include "platform/lumonet/file_descriptor.h"
#include "tools/lumo/transfer/file_store.h"
#include "tools/lumo/transfer/own_file.h"
#include "tools/lumo/transfer/part_file.h"
#include "tools/lumo/transfer/tree_stores.h"

#include <memory>
#include <string>

namespace lumo {

struct FolderRules {
    bool force = false;        ///< replace files that exist
    bool allowHidden = false;  ///< leave names that begin with a dot or dash as they are
    std::string name;          ///< of the one file that may come; empty: each has its own
};

class CFileFolder : public IFileFolder {
public:
    CFileFolder(CFileDescriptor folder, const FolderRules& rules)
        : m_pRoot(std::make_shared<CTreeRoot>(std::move(folder))), m_rules(rules) {}

    OpenResult Open(const Offer& offer, std::unique_ptr<IFileStore>& store, std::string& problem,
                    Failure& reason) override;
    std::string LocalName(const std::string& offered) const override;
    std::string CountProblem(uint32_t files) const override;
    uint64_t FreeBytes() const override;

private:
    OpenResult OpenAt(const std::string& path, const Offer& offered, std::unique_ptr<IFileStore>& store,
                      Refusal& refusal);
    OpenResult OpenFile(const std::string& path, const Offer& offered, std::unique_ptr<IFileStore>& store,
                        Refusal& refusal);
    /// Looks at what has the final name; a file that may be the offered one is opened.
    bool CheckTarget(int folder, const Offer& offer, CFileDescriptor& existing, Refusal& refusal) const;

    const std::shared_ptr<CTreeRoot> m_pRoot;
    const FolderRules m_rules;
    std::shared_ptr<NameClaims> m_pClaims = std::make_shared<NameClaims>();
};

/// An unnamed file in the directory for temporary files; null with errno set when there can be none.
CFileDescriptor MakeSpoolFile();

/// Only files go there: of a tree the folders and links are refused.
class CSpoolFolder : public IFileFolder {
public:
    OpenResult Open(const Offer& offer, std::unique_ptr<IFileStore>& store, std::string& problem,
                    Failure& reason) override;
    uint64_t FreeBytes() const override;
};

}  // namespace lumo
