#include "zax-message-buffer.h"

#include "support.h"

using zax::MessageBuffer;

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

TEST(MessageBuffer, SubstitutesByName) {
  const auto substitute = [](const char* format) {
    return __(format, nullText, "keyless", "want", 2ul, "got", 3ul, "twice", "first", "twice",
              "second", "nothing", nullText, "nested", "%(want)s")
        .substitute();
  };
  EXPECT_EQ(substitute("want %(want)s, got %(got)s, %(want)s"), "want 2, got 3, 2");
  EXPECT_EQ(substitute("%(twice)s [%(nothing)s] %(nested)s )s"), "first [] %(want)s )s");
  for (const char* unknown : {"%(missing)s", "%(WANT)s", "%(wan)s", "%((want)s", "%( want)s"}) {
    EXPECT_EQ(substitute(unknown), "<unknown>") << unknown;
  }
  for (const char* cut : {"a", "a%", "a% done %(want)s", "a%% %(want)s", "a%(b", "a%(want)",
                          "a%(want)x rest", "a%()s b"}) {
    EXPECT_EQ(substitute(cut), "a") << cut;
  }
  EXPECT_EQ(substitute(nullptr), "");
  EXPECT_STREQ(__("", "k", nullText).lookup("k"), nullptr);
}

TEST(MessageBuffer, LeavesOutAndReportsATextThatDoesNotFit) {
  const std::string fits(4095, 'f');
  const std::string tooLong(4096, 'f');
  const std::string v94(94, 'v');
  const std::string w91(91, 'w');
  const std::string report = "Error message exceeds buffer size: ";
  EXPECT_EQ(stderrOf([&] { EXPECT_EQ(describe(__(fits.c_str())), fits); }), "");
  EXPECT_EQ(stderrOf([&] { EXPECT_EQ(describe(__(tooLong.c_str())), "(null) overflow"); }),
            report + tooLong + "\n");

  // 96 bytes are left: for "k" and not for 95 more, then for "k" and the last 92.
  MessageBuffer message = __(fits.substr(96).c_str());
  EXPECT_EQ(stderrOf([&] { message.push("k", v94); }), report + v94 + "\n");
  EXPECT_EQ(stderrOf([&] { message.push("k", w91); }), "");
  EXPECT_EQ(stderrOf([&] { message.push("", 'x'); }), report + "\n" + report + "x\n");
  EXPECT_EQ(message.used, 4096u);
  EXPECT_EQ(describe(message),
            fits.substr(96) + " k=(null):1 k=" + w91 + ":1 (null)=(null):1 overflow");
}

TEST(MessageBuffer, DropsAndReportsTheSeventeenthArgument) {
  MessageBuffer message = __("");
  for (unsigned long i = 1; i <= 16; ++i) EXPECT_EQ(message.push("key", i), i);
  const std::string former = describe(message);
  EXPECT_EQ(stderrOf([&] { EXPECT_EQ(message.push("seventeenth", 1.5), 16u); }),
            "Too many error message arguments (16 max): seventeenth=1.5\n");
  EXPECT_EQ(describe(message), former + " overflow");
}

TEST(MessageBuffer, CopiesItsTextsPackedAnew) {
  MessageBuffer source;
  source.push("k", "v");
  source.setFormat("dropped");
  source.setFormat("f");
  source.push(nullptr, 7);
  char* copied = nullptr;
  source.copyString(copied, "loose");
  EXPECT_STREQ(copied, "loose");
  EXPECT_EQ(copied, source.storage + source.used - sizeof("loose"));
  source.overflow = true;
  MessageBuffer assigned = __("former", "a", 1, "b", 2, "c", 3);
  assigned.assign(source);
  MessageBuffer constructed(source);
  for (const MessageBuffer* copy : {&constructed, &assigned}) {
    EXPECT_EQ(describe(*copy), "f k=v:1 (null)=7:2");
    EXPECT_EQ(std::string(copy->storage, copy->used), std::string("f\0k\0v\0007\0", 8));
    EXPECT_EQ(copy->format, copy->storage);
    EXPECT_EQ(copy->args[1].value, copy->storage + 6);
  }
  source.assign(source);
  EXPECT_EQ(describe(source), "f k=v:1 (null)=7:2 overflow");

  source.clear();
  EXPECT_EQ(describe(source), "(null)");
  EXPECT_EQ(source.used, 0u);
  EXPECT_EQ(source.args[0].key, nullptr);
  EXPECT_EQ(std::string(source.storage, 4096), std::string(4096, '\0'));
}

}  // namespace
