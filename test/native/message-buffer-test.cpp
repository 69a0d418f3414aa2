#include "zax-message-buffer.h"

#include "support.h"

using zax::MessageBuffer;

// What a message holds and substitutes, for any texts, is in test/fuzz.

namespace {

const char* const nullText = nullptr;

TEST(MessageBuffer, RendersEveryKindOfValue) {
  const std::string withNul("cut\0off", 7);
  EXPECT_EQ(describe(__("", "c", "text", "s", withNul, "h", 'x', "n", nullText, "i", -5, "u",
                        4000000000u, "l", -5000000000l, "ul", 18446744073709551615ul, "f", 1.5f,
                        "d", 1.0 / 3, "e", 1e20, "t", true, "b", false)),
            " c=text:1 s=cut:1 h=x:1 n=(null):1 i=-5:2 u=4000000000:3 l=-5000000000:4"
            " ul=18446744073709551615:5 f=1.5:6 d=0.333333:6 e=1e+20:6 t=true:7 b=false:7");
}

TEST(MessageBuffer, ReportsWhatDoesNotFit) {
  const std::string fits(4000, 'f');
  const std::string v94(94, 'v');
  const std::string w91(91, 'w');
  const std::string report = "Error message exceeds buffer size: ";
  // 95 bytes are left: for "k" and not for 95 more, then for "k" and all but one.
  MessageBuffer message = __(fits.c_str());
  EXPECT_EQ(stderrOf([&] { message.push("k", v94); }), report + v94 + "\n");
  EXPECT_EQ(stderrOf([&] { message.push("", w91); }), "");
  EXPECT_EQ(stderrOf([&] { message.push("", 'x'); }), report + "\n" + report + "x\n");
  EXPECT_EQ(message.used, 4096u);
  EXPECT_EQ(describe(message), fits + " k=(null):1 =" + w91 + ":1 (null)=(null):1 overflow");

  while (message.count < 16) message.push(nullText, nullText);
  EXPECT_EQ(stderrOf([&] { EXPECT_EQ(message.push("seventeenth", 1.5), 16u); }),
            "Too many error message arguments (16 max): seventeenth=1.5\n");
}

}  // namespace
