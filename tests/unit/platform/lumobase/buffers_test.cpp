#include "platform/lumobase/buffer_pool.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

namespace {

std::string Content(CDataBuffer& buffer) {
    return buffer.GetData() ? std::string(buffer.GetData(), static_cast<size_t>(buffer.GetLen())) : "(none)";
}

TEST(DataBufferTest, KeepsACopyOfWhatItWasGiven) {
    CDataBuffer buffer;
    std::string bytes("ab\0cd", 5);
    EXPECT_TRUE(buffer.StoreData(bytes.data(), 5));
    bytes[0] = 'x';
    EXPECT_EQ(Content(buffer), std::string("ab\0cd", 5));
    EXPECT_TRUE(buffer.StoreData(buffer.GetData() + 1, 3)) << "from its own bytes";
    EXPECT_EQ(Content(buffer), std::string("b\0c", 3));
    EXPECT_TRUE(buffer.StoreData(nullptr, 0));
    EXPECT_EQ(Content(buffer), "(none)");
    EXPECT_EQ(buffer.GetLen(), 0);
}

TEST(DataBufferTest, BadArgumentsLeaveItEmpty) {
    const struct {
        const char* data;
        int length;
    } rows[] = {{nullptr, 1}, {"abc", -1}, {nullptr, -1}};
    for (const auto& row : rows) {
        CDataBuffer buffer;
        ASSERT_TRUE(buffer.StoreData("before", 6));
        EXPECT_FALSE(buffer.StoreData(row.data, row.length)) << row.length;
        EXPECT_EQ(Content(buffer), "(none)");
        EXPECT_EQ(buffer.GetLen(), 0);
    }
}

/// Knows how many of its kind are alive.
class CCountedBuffer : public CDataBuffer {
public:
    explicit CCountedBuffer(int length) {
        ++s_nAlive;
        const std::string bytes(static_cast<size_t>(length), 'x');
        EXPECT_TRUE(StoreData(bytes.data(), length));
    }
    ~CCountedBuffer() override { --s_nAlive; }
    static inline std::atomic<int> s_nAlive{0};
};

TEST(BufferPoolTest, IsAQueueThatOwnsWhatItHolds) {
    {
        CBufferPool pool;
        EXPECT_EQ(pool.GetDataBuffer(), nullptr);
        pool.SetDataBuffer(nullptr);
        EXPECT_EQ(pool.GetCount(), 0);
        for (int length : {10, 0, 30}) pool.SetDataBuffer(new CCountedBuffer(length));
        EXPECT_EQ(pool.GetCount(), 3);
        EXPECT_EQ(pool.GetByteCount(), 40u);
        CDataBuffer* first = pool.GetDataBuffer();
        EXPECT_EQ(first->GetLen(), 10);
        EXPECT_EQ(pool.GetByteCount(), 30u);
        delete first;
        pool.Flush();
        EXPECT_EQ(pool.GetCount(), 0);
        EXPECT_EQ(pool.GetByteCount(), 0u);
        EXPECT_EQ(CCountedBuffer::s_nAlive, 0);
        pool.SetDataBuffer(new CCountedBuffer(5));
    }
    EXPECT_EQ(CCountedBuffer::s_nAlive, 0) << "the destructor frees the rest";
}

TEST(BufferPoolTest, TwoThreadsLoseAndDoubleNothing) {
    constexpr int kBuffers = 20000;
    CBufferPool pool;
    std::thread feeder([&pool] {
        for (int i = 1; i <= kBuffers; ++i) pool.SetDataBuffer(new CCountedBuffer(i % 64));
        pool.SetDataBuffer(new CCountedBuffer(1000));
    });
    int taken = 0;
    for (bool end = false; !end;) {
        CDataBuffer* buffer = pool.GetDataBuffer();
        if (!buffer) continue;
        end = buffer->GetLen() == 1000;
        ++taken;
        delete buffer;
    }
    feeder.join();
    EXPECT_EQ(taken, kBuffers + 1);
    EXPECT_EQ(pool.GetCount(), 0);
    EXPECT_EQ(pool.GetByteCount(), 0u);
    EXPECT_EQ(CCountedBuffer::s_nAlive, 0);
}

}  // namespace
