// Where a file that arrives is put together.
#pragma once

#include "tools/lumo/transfer/block_map.h"
#include "tools/lumo/transfer/messages.h"

#include <cstdint>
#include <memory>
#include <string>

namespace lumo {

enum class StoreStep { More, Good, Bad, Broken };

/// One file on its way; one thread. After Broken or false, Problem() says why and Reason() what to tell the sender.
class IFileStore {
public:
    virtual ~IFileStore() = default;
    /// Blocks that are there, those of an earlier attempt included.
    virtual const CBlockMap& Have() const = 0;
    /// Stores a block of the right length whose checksum has been found right.
    virtual bool Write(uint32_t block, const char* data, uint32_t length, uint64_t checksum) = 0;
    /// Compares what is stored with the promised SHA-256, a little at a time.
    virtual StoreStep Verify() = 0;
    /// After Bad: gives up the blocks that are not as they came, all of them when each is, a little at a time. Good:
    /// the rest can be fetched.
    virtual StoreStep Repair() = 0;
    /// After Good: puts the file under its name.
    virtual bool Commit() = 0;
    /// Writes down what is there, for a later attempt.
    virtual void Flush() = 0;
    virtual const std::string& Problem() const = 0;
    virtual Failure Reason() const = 0;
};

enum class OpenResult {
    Fetch,
    AlreadyThere,
    Later,  ///< once a file before it has ended
    Refused
};

/// Where files that arrive go.
class IFileFolder {
public:
    virtual ~IFileFolder() = default;
    /// On Fetch, `store` is set. On AlreadyThere, `store` is set too and Verify() tells whether the file that has the
    /// name is the offered one. On Refused, `problem` and `reason` are.
    virtual OpenResult Open(const Offer& offer, std::unique_ptr<IFileStore>& store, std::string& problem,
                            Failure& reason) = 0;
    /// The name under which a file that is offered under a good one is stored.
    virtual std::string LocalName(const std::string& offered) const { return offered; }
    /// What is wrong with so many files; empty: nothing.
    virtual std::string CountProblem(uint32_t /*files*/) const { return ""; }
    /// Room for what is not there yet; UINT64_MAX when nobody knows.
    virtual uint64_t FreeBytes() const = 0;
};

}  // namespace lumo
