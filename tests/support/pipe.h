// A pipe between a test and what it tests.
#pragma once

#include "platform/lumonet/file_descriptor.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <string>

class CPipe {
public:
    explicit CPipe(int flags = 0) {
        int ends[2] = {-1, -1};
        EXPECT_EQ(pipe2(ends, O_CLOEXEC | flags), 0);
        read.Reset(ends[0]);
        write.Reset(ends[1]);
    }
    /// Waits until all of it has gone into the pipe.
    void Write(const std::string& bytes) const {
        EXPECT_EQ(::write(write.Get(), bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    }
    CFileDescriptor read, write;
};
