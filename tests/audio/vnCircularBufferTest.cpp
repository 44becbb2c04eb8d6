#include "vnCircularBuffer.h"

#include <gtest/gtest.h>

#include <memory>
#include <numeric>
#include <string>
#include <vector>

namespace {

struct Releaser {
    void operator()(vnCircularBuffer* ring) const { ring->Release(); }
};
using Ring = std::unique_ptr<vnCircularBuffer, Releaser>;

Ring MakeRing(unsigned int bytes, bool overwriting) {
    Ring ring(new vnCircularBuffer(bytes));
    ring->SetAllowOverwriting(overwriting);
    return ring;
}

void Write(vnCircularBuffer& ring, const std::string& text) { ring.WriteData(text.data(), unsigned(text.size())); }

std::string Read(vnCircularBuffer& ring, unsigned int bytes) {
    std::string text(bytes, '?');
    ring.ReadData(text.data(), bytes);
    return text;
}

} // namespace

TEST(vnCircularBuffer, CapacityIsThePowerOfTwoAtOrAboveTheRequest) {
    EXPECT_EQ(RaiseToUpperPowerOfTwo(0), 0u); // wraps
    EXPECT_EQ(RaiseToUpperPowerOfTwo(1), 1u);
    EXPECT_EQ(RaiseToUpperPowerOfTwo(3), 4u);
    EXPECT_EQ(RaiseToUpperPowerOfTwo(4096), 4096u);
    EXPECT_EQ(RaiseToUpperPowerOfTwo(4097), 8192u);
    EXPECT_EQ(RaiseToUpperPowerOfTwo(0x80000000u), 0x80000000u);
    EXPECT_EQ(RaiseToUpperPowerOfTwo(0x80000001u), 0u); // wraps

    EXPECT_EQ(Ring(new vnCircularBuffer)->BufferSizeInBytes(), 2u * 1024 * 1024);
    EXPECT_EQ(MakeRing(3, false)->BufferSizeInBytes(), 4u);
    EXPECT_TRUE(Ring(new vnCircularBuffer)->AllowsOverwriting());
}

TEST(vnCircularBuffer, WithoutCapacityItIgnoresWritesAndReads) {
    Ring ring = MakeRing(0, true);
    EXPECT_EQ(ring->BufferSizeInBytes(), 0u);
    Write(*ring, "abc");
    EXPECT_EQ(ring->TotalNumberOfBytesWritten(), 0);
    EXPECT_EQ(Read(*ring, 3), "???"); // left alone, not even zero-filled
    EXPECT_EQ(ring->TotalNumberOfBytesAvailable(), 0u);
}

TEST(vnCircularBuffer, BytesComeOutInOrderAcrossManyWraps) {
    Ring ring = MakeRing(16, false);
    std::string sent, received;
    for (int round = 0; round < 20; ++round) {
        // Lengths that put the wrap at every position of a write and a read.
        std::string chunk(5 + round % 7, '\0');
        for (char& c : chunk) c = char('a' + sent.size() % 26), sent += c;
        Write(*ring, chunk);
        ASSERT_EQ(ring->TotalNumberOfBytesAvailable(), chunk.size());
        received += Read(*ring, unsigned(chunk.size()));
        ASSERT_EQ(ring->TotalNumberOfBytesAvailable(), 0u);
    }
    EXPECT_EQ(received, sent);
    EXPECT_EQ(ring->TotalNumberOfBytesWritten(), int64_t(sent.size())); // totals keep growing past the capacity
    EXPECT_EQ(ring->TotalNumberOfBytesRead(), int64_t(sent.size()));
}

TEST(vnCircularBuffer, AvailableBytesCountFromPositionsEitherSideOfTheWrap) {
    Ring ring = MakeRing(8, false);
    Write(*ring, "abcdef");
    Read(*ring, 4);
    EXPECT_EQ(ring->TotalNumberOfBytesAvailable(), 2u); // written 6, read 4
    Write(*ring, "ghij");
    EXPECT_EQ(ring->TotalNumberOfBytesAvailable(), 6u); // write position 2 is behind read position 4
    EXPECT_EQ(Read(*ring, 6), "efghij");
}

TEST(vnCircularBuffer, WithoutOverwritingAWriteThatWouldFillItIsDroppedWhole) {
    Ring ring = MakeRing(8, false);
    Write(*ring, "12345678"); // would leave it exactly full
    EXPECT_EQ(ring->TotalNumberOfBytesWritten(), 0);
    Write(*ring, "1234567");
    EXPECT_EQ(ring->TotalNumberOfBytesWritten(), 7);
    Write(*ring, "8"); // 7 + 1 pending would be full
    EXPECT_EQ(ring->TotalNumberOfBytesWritten(), 7);

    EXPECT_EQ(Read(*ring, 3), "123");
    Write(*ring, "abc"); // 7 pending again, across the end
    Write(*ring, "X");
    EXPECT_EQ(ring->TotalNumberOfBytesAvailable(), 7u);
    EXPECT_EQ(Read(*ring, 7), "4567abc"); // nothing of the refused writes got in
}

TEST(vnCircularBuffer, AReadOfMoreThanIsPendingYieldsSilenceAndConsumesNothing) {
    Ring ring = MakeRing(16, false);
    Write(*ring, "abcd");
    EXPECT_EQ(Read(*ring, 5), std::string(5, '\0'));
    EXPECT_EQ(ring->TotalNumberOfBytesRead(), 0);
    EXPECT_EQ(ring->TotalNumberOfBytesAvailable(), 4u);
    EXPECT_EQ(Read(*ring, 4), "abcd");
    EXPECT_EQ(Read(*ring, 1), std::string(1, '\0'));
}

TEST(vnCircularBuffer, OverwritingLetsTheWriterLapTheReader) {
    Ring ring = MakeRing(8, true);
    Write(*ring, "abcdefgh"); // exactly full is accepted
    EXPECT_EQ(ring->TotalNumberOfBytesAvailable(), 8u); // equal positions, unequal totals
    Write(*ring, "IJKL");
    EXPECT_EQ(ring->TotalNumberOfBytesRead(), 0); // the writer never moves the reader
    EXPECT_EQ(ring->TotalNumberOfBytesWritten(), 12);
    EXPECT_EQ(Read(*ring, 8), "IJKLefgh"); // the lapped reader reads newer bytes at its position

    // Of a write longer than the ring the newest bytes stay, each at its own position.
    Ring small = MakeRing(8, true);
    std::vector<char> bytes(20);
    std::iota(bytes.begin(), bytes.end(), 'A');
    small->WriteData(bytes.data(), unsigned(bytes.size()));
    EXPECT_EQ(small->TotalNumberOfBytesWritten(), 20);
    EXPECT_EQ(Read(*small, 8), "QRSTMNOP");
    EXPECT_EQ(Read(*small, 9), std::string(9, '\0')); // longer than the ring: never read past the storage
}

TEST(vnCircularBuffer, ClearForgetsEverythingPending) {
    Ring ring = MakeRing(8, false);
    Write(*ring, "abcde");
    Read(*ring, 2);
    ring->Clear();
    EXPECT_EQ(ring->TotalNumberOfBytesWritten(), 0);
    EXPECT_EQ(ring->TotalNumberOfBytesRead(), 0);
    EXPECT_EQ(ring->TotalNumberOfBytesAvailable(), 0u);
    Write(*ring, "1234567"); // the full capacity - 1 is free again
    EXPECT_EQ(Read(*ring, 7), "1234567");
}
