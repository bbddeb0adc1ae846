// What a tree has besides files, where it arrives.
#pragma once

#include "tools/lumo/transfer/file_store.h"
#include "tools/lumo/transfer/own_file.h"

#include <memory>
#include <string>
#include <utility>

namespace lumo {

/// The folder in which a tree arrives, and those below it. None is reached through a link.
class CTreeRoot {
public:
    explicit CTreeRoot(CFileDescriptor root) : m_pRoot(std::make_shared<const CFileDescriptor>(std::move(root))) {}

    int Get() const { return m_pRoot->Get(); }
    /// The folder at a good path, empty for the root; `make` makes what lacks on the way. Null with `refusal`.
    SharedFolder Open(const std::string& path, bool make, Refusal& refusal);

private:
    const SharedFolder m_pRoot;
    std::string m_strLast;  // the path asked for last, and what is there: files of one folder come together
    SharedFolder m_pLast;
};

/// An entry without content: nothing is fetched, and Commit() makes it what it was.
class CEntryStore : public IFileStore {
public:
    CEntryStore(std::shared_ptr<CTreeRoot> root, std::string path, EntryTraits traits)
        : m_pRoot(std::move(root)), m_strPath(std::move(path)), m_traits(std::move(traits)) {}

    const CBlockMap& Have() const override { return m_none; }
    bool Write(uint32_t, const char*, uint32_t, uint64_t) override { return false; }
    StoreStep Verify() override { return StoreStep::Good; }
    StoreStep Repair() override { return StoreStep::Good; }
    void Flush() override {}
    const std::string& Problem() const override { return m_refusal.problem; }
    Failure Reason() const override { return m_refusal.reason; }

protected:
    /// Opens the folder that holds it; null with the problem noted.
    SharedFolder Above();
    bool Refuse(Failure reason, std::string problem);
    /// Gives what has that name there the time at which the entry was modified.
    void Date(int folder, const std::string& name) const;

    const std::shared_ptr<CTreeRoot> m_pRoot;
    const std::string m_strPath;
    const EntryTraits m_traits;
    Refusal m_refusal;

private:
    const CBlockMap m_none;
};

/// Is there from the beginning; whatever comes into it changes its time.
class CFolderStore : public CEntryStore {
public:
    using CEntryStore::CEntryStore;
    bool Commit() override;
};

class CLinkStore : public CEntryStore {
public:
    CLinkStore(std::shared_ptr<CTreeRoot> root, std::string path, EntryTraits traits, bool force)
        : CEntryStore(std::move(root), std::move(path), std::move(traits)), m_bForce(force) {}
    bool Commit() override;

private:
    /// True when the name is free, or `same` when such a link has it.
    bool MakeRoom(int folder, const std::string& name, bool& same);

    const bool m_bForce;
};

}  // namespace lumo
