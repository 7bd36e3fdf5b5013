#include <gtest/gtest.h>

#include "link/DyneVocabulary.hpp"
#include "link/frmComm.hpp"

namespace tavkelo {
namespace {

TEST(Vocabulary, CommandNamesAndTheAcceptedSet) {
  EXPECT_EQ(DyneCommandName('A'), "Augmented Breaking On");
  EXPECT_EQ(DyneCommandName('U'), "Auto Offset Ajust Off");
  EXPECT_EQ(DyneCommandName('b'), "Belt Compensation Off");
  for (int code : {int{'W'}, int{'7'}, int{'8'}, 47, 99, int{'Z'}, int{'c'}})
    EXPECT_EQ(DyneCommandName(code), "??") << code;
  EXPECT_FALSE(IsValidDyneCommand('W'));
  EXPECT_TRUE(IsValidDyneCommand('7'));
  EXPECT_TRUE(IsValidDyneCommand('8'));
  EXPECT_FALSE(IsValidDyneCommand('c'));
  EXPECT_FALSE(IsValidDyneCommand(0));
  int valid = 0;
  for (int c = 0; c < 256; ++c) valid += IsValidDyneCommand(static_cast<uint8_t>(c)) ? 1 : 0;
  EXPECT_EQ(valid, 36);
}

// The variable, reply status and serial event names of the log lines.
TEST(Vocabulary, VariableReplyStatusAndSerialEventNames) {
  EXPECT_EQ(DyneVariableName(0), "000-VERSION");
  EXPECT_EQ(DyneVariableName(98), "098-15MPH_LOSSES");
  EXPECT_EQ(DyneVariableName(219), "219-??");
  EXPECT_EQ(DyneVariableName(245), "245-??");
  const char* names[] = {"Unknown", "Pending", "Timeout", "OverFlow", "NAK", "ACK", "Data"};
  for (int16_t s = 0; s <= 6; ++s) EXPECT_EQ(CommStatusName(s), names[s]);
  EXPECT_EQ(CommStatusName(7), "???");
  EXPECT_EQ(CommStatusName(-1), "???");
  EXPECT_EQ(CommEventName(1004), "EventFrame (0x03EC)");
  EXPECT_EQ(CommEventName(2), "EvReceive (0x0002)");
  EXPECT_EQ(CommEventName(1011), "EventDCB (0x03F3)");
  EXPECT_EQ(CommEventName(5), "? (0x0005)");
}

struct RenderCase {
  std::vector<uint8_t> bytes;
  const char* hex;
  const char* readable;
};

TEST(Vocabulary, FramesRenderedAsHexAndControlCharacters) {
  const RenderCase cases[] = {{{0xB4, 0x11, 'D', 0x05}, "[B4 11 44 05]", "[<B4><OC1>D<ENQ>]"},
                              {{2, 'D', 13}, "[02 44 0D]", "[<STX>D<CR>]"},
                              {{0}, "[00]", "[<00>]"},
                              {{1}, "[01]", "[<NUL>]"},
                              {{0x17, 0x7F, 0x1B, 0x80}, "[17 7F 1B 80]", "[<ETB><DEL><ESC><80>]"},
                              {{' ', '~'}, "[20 7E]", "[ ~]"},
                              {{}, "[]", "[]"}};
  for (const RenderCase& c : cases) {
    auto n = static_cast<int16_t>(c.bytes.size());
    EXPECT_EQ(FormatHexBytes(c.bytes.data(), n), c.hex);
    EXPECT_EQ(FormatControlChars(c.bytes.data(), n), c.readable);
  }
}

}  // namespace
}  // namespace tavkelo
