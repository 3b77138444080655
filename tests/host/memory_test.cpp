// Memory blocks, and the guard pages behind every pixel row, memory block and
// string: one word past the end crashes, sanitizer or not.
#include <dlfcn.h>

#include <cstring>

#include "tests/support/host_test.h"

namespace {

using testhost::HostConfig;
using testhost::HostKind;
using testhost::Ref;

class Memory : public HostTest {};
using MemoryDeathTest = Memory;

// Reads through a volatile pointer so that the compiler keeps the read.
uint32_t read_word(const void* at) { return *static_cast<const volatile uint32_t*>(at); }

TEST_F(Memory, NewBlocksAreZeroFilledWithOneReference) {
  StartHostWithout();
  for (int32_t size : {0, 1, 3, 4, 1024, 4096, 5000}) {
    Ref block = Ref::Adopt(reinterpret_cast<REALobject>(HOST_ENTRY(host(), newMemoryBlock)(size)));
    ASSERT_TRUE(block) << size;
    EXPECT_EQ(HOST_ENTRY(host(), memoryBlockGetSize)(block.block()), size);
    auto* data = static_cast<uint8_t*>(HOST_ENTRY(host(), memoryBlockGetPtr)(block.block()));
    ASSERT_NE(data, nullptr);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(data) % 4, 0u);
    const auto bytes = host().Bytes(block.block());
    EXPECT_EQ(bytes.data(), data);
    EXPECT_EQ(bytes.size(), static_cast<size_t>(size));
    for (uint8_t byte : bytes) ASSERT_EQ(byte, 0);
  }
  EXPECT_EQ(HOST_ENTRY(host(), newMemoryBlock)(-1), nullptr);
}

TEST_F(Memory, BlocksWorkWithoutGuardPages) {
  HostConfig config;
  config.guardPages = false;
  StartHostWithout(config);
  Ref block = host().NewMemoryBlock(10);
  auto bytes = host().Bytes(block.block());
  ASSERT_EQ(bytes.size(), 10u);
  bytes[9] = 5;
  EXPECT_EQ(static_cast<uint8_t*>(HOST_ENTRY(host(), memoryBlockGetPtr)(block.block()))[9], 5);
}

TEST_F(MemoryDeathTest, ReadingOneWordPastABlockCrashes) {
  StartHostWithout();
  Ref block = host().NewMemoryBlock(64);
  const auto* data = static_cast<const uint8_t*>(HOST_ENTRY(host(), memoryBlockGetPtr)(block.block()));
  EXPECT_EQ(read_word(data + 60), 0u);
  EXPECT_DEATH(read_word(data + 64), "");
}

TEST_F(MemoryDeathTest, ReadingOneWordPastARowTableRowCrashes) {
  HostConfig config;
  config.kind = HostKind::kConsole;
  StartHostWithout(config);
  Ref picture = Ref::Adopt(reinterpret_cast<REALobject>(HOST_ENTRY(host(), newPicture)(7, 3, 32)));
  REALpictureDescription description{};
  ASSERT_TRUE(HOST_ENTRY(host(), lockPictureDescription)(picture.picture(), &description));
  const auto* image = static_cast<REALrowTableImage*>(description.handle);
  EXPECT_EQ(read_word(&image->rowTable[0][6]), 0x00FFFFFFu);
  // Not the last row: every row has its own guard page.
  EXPECT_DEATH(read_word(&image->rowTable[0][7]), "");
  HOST_ENTRY(host(), unlockPictureDescription)(picture.picture());
}

TEST_F(MemoryDeathTest, ReadingOneWordPastABitmapCrashes) {
  StartHostWithout();
  testhost::PictureSpec shape;
  shape.width = 5;
  shape.height = 4;
  shape.rowPadding = 12;
  Ref picture = host().NewPicture(shape);
  REALpictureDescription description{};
  ASSERT_TRUE(HOST_ENTRY(host(), lockPictureDescription)(picture.picture(), &description));
  auto* get_data = reinterpret_cast<host_abi::sig::CGBitmapContextGetData*>(dlsym(RTLD_DEFAULT, "CGBitmapContextGetData"));
  const auto* data = static_cast<const uint8_t*>(get_data(description.handle));
  const size_t last = 3 * (5 * 4 + 12) + 4 * 4;  // the last pixel of the last row
  EXPECT_EQ(read_word(data + last), 0xFFFFFFFFu);
  EXPECT_DEATH(read_word(data + last + 4), "");
  HOST_ENTRY(host(), unlockPictureDescription)(picture.picture());
}

TEST_F(MemoryDeathTest, ReadingPastAStringsTerminatorCrashes) {
  StartHostWithout();
  const REALstring string = HOST_ENTRY(host(), REALBuildString)("abcdefg", 7);
  const char* text = HOST_ENTRY(host(), StringGetCString)(string);
  EXPECT_STREQ(text, "abcdefg");
  EXPECT_DEATH(read_word(text + 8), "");
  HOST_ENTRY(host(), REALUnlockString)(string);
}

}  // namespace
