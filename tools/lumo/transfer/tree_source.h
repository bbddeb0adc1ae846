// A folder that is sent, as the entries of its tree.
#pragma once

#include "tools/lumo/transfer/file_source.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace lumo {

/// What has no content, or little that is in memory: a folder, a link, a text.
class CEntrySource : public IFileSource {
public:
    CEntrySource(std::string name, EntryTraits traits, std::string content = "");

    const std::string& Name() const override { return m_strName; }
    uint64_t Size() const override { return m_strContent.size(); }
    bool HashStep() override;
    uint64_t HashedBytes() const override { return m_strContent.size(); }
    const Digest& Sha256() const override { return m_digest; }
    bool Read(uint32_t block, char* buffer) override;
    const std::string& Problem() const override { return m_strProblem; }

private:
    const std::string m_strName, m_strContent;
    Digest m_digest{};
    std::string m_strProblem;
};

/// What is left out of a tree, and why: a path and the reason.
using LeftOut = std::vector<std::pair<std::string, std::string>>;

/// Adds the folder and all that is below it to `entries`, under paths that begin with `name`; links are not followed.
/// False, with `problem`, when something cannot be sent that should be.
bool AddTree(CFileDescriptor folder, const std::string& name, std::vector<std::unique_ptr<IFileSource>>& entries,
             LeftOut& leftOut, std::string& problem);

}  // namespace lumo
