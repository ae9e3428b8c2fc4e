// SPDX-License-Identifier: MIT
// vlDataStream_test.cpp - lack of memory, and inputs that fail, wait or never deliver. The text is compared
// with a model in vlDataStream_model.cpp.

#include "System/vlDataStream.h"
#include "tests/support/FailingNew.h"
#include "tests/support/TemporaryFolder.h"

#include <csignal>
#include <ctime>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <thread>
#include <unistd.h>
#include <vector>

using namespace Veltrano;

namespace {

TEST(DataOutputFile, GrowsPastItsFirstBlockAndSurvivesAFailure)
{
    const int nLive = FailingNew::nLiveArrays;
    {
        const int nBefore = FailingNew::nArrays;
        DataOutputFile output;
        EXPECT_EQ(output.GetCapacity(), 4096);
        while (output.GetLength() < 4092)
            output.writeByte(0);
        EXPECT_EQ(FailingNew::nArrays, nBefore + 1);
        output.writeInt64(0);
        const std::string expected = output.GetText();
        const std::vector<char> large(static_cast<size_t>(output.GetCapacity()));
        FailingNew::Fail(1);
        EXPECT_THROW(output.write(large.data(), static_cast<SInt32>(large.size())),
                     OutOfMemoryException);
        FailingNew::Fail(1);
        EXPECT_THROW(DataOutputFile(), ModuleException);
        FailingNew::Stop();
        EXPECT_EQ(expected, output.GetText());
    }
    EXPECT_EQ(FailingNew::nLiveArrays, nLive);
}

TEST(DataOutputFile, TypedWritesOfDerivedClassesCallWrite)
{
    struct Blocks : DataOutputFile
    {
        void write(const void*, SInt32 nCount) override { nTotal += nCount; }
        SInt32 nTotal = 0;
    } blocks;
    blocks.writeInt16(1);
    blocks.writeDouble(1);
    EXPECT_EQ(blocks.nTotal, 10);
}

TEST(DataInputFile, WithoutAFileOrWithAFolder)
{
    TemporaryFolder folder;
    EXPECT_THROW(DataInputFile(folder.Path("missing").c_str()).read(nullptr, 0), EOFException);
    EXPECT_THROW(DataInputFile(folder.Path("").c_str()).readInt8(), IOException);
}

// A standard input that is not ready yet at first, and interrupted later on.
TEST(DataInputFile, WaitsForEachDigit)
{
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    ASSERT_EQ(dup2(ends[0], STDIN_FILENO), STDIN_FILENO);
    struct sigaction action = {}; // without SA_RESTART
    action.sa_handler = [](int) {};
    sigaction(SIGUSR1, &action, nullptr);
    fcntl(STDIN_FILENO, F_SETFL, O_NONBLOCK);
    std::thread writer([&ends, reader = pthread_self()] {
        const std::string digits = "7856\n3412F";
        for (size_t i = 0; i < digits.size(); ++i) {
            usleep(10000);
            pthread_kill(reader, SIGUSR1);
            usleep(10000);
            EXPECT_EQ(write(ends[1], &digits[i], 1), 1);
            if (i == 4)
                fcntl(STDIN_FILENO, F_SETFL, 0);
        }
        close(ends[1]);
    });
    {
        DataInputFile input(nullptr);
        const clock_t before = clock();
        EXPECT_EQ(input.readInt32(), 0x12345678);
        EXPECT_LT(clock() - before, CLOCKS_PER_SEC / 10) << "waits busily";
        writer.join(); // before this thread may end
        EXPECT_THROW(input.readInt8(), EOFException);
    }
    EXPECT_EQ(fcntl(STDIN_FILENO, F_GETFD), -1) << "closed";
    close(ends[0]);
}

} // namespace
