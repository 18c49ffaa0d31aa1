#include "engine/DecoderRing.h"

#include "engine/CalvaneException.h"
#include "tests/support/MessageOf.h"
#include "tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace {

using namespace std::string_literals;
using testing::ElementsAre;

const std::string kLoader = "Calvane::Calvane( const string decoderRingFile ) - ";

/// A failure of the parser by its number, counting from 1.
std::string message(std::size_t number, const std::string& line, const std::string& word) {
    static const std::string reasons[] = {
        "After the NV item ID there should be a comma.",
        "After the NV item ID and comma there should be a less than sign '<'.",
        std::string("The types that can be specified for the subitem can be: 'SIGNED_BYTE', 'BYTE', ") +
            "'SIGNED_WORD', 'WORD', 'SIGNED_DWORD', 'DWORD'.",
        "There should be a pound sign '#' seperating the subitem types.",
        "There should be a less than sign '<' after each pound sign '#' to indicate the start of the next subitem.",
        "The subitems of an NV item can't add up to more than 128 bytes.",
    };
    return "Error processing the decoder ring file.  " + reasons[number - 1] +
           "  The following decoder ring string is in valid '" + line +
           (number <= 2 ? "\n\n' Processing" : "' processing") + " of the string stopped here '" + word + "'.";
}

/// "5|NAME|access|TYPE:description|..."
std::string layoutOf(const NvItem& item) {
    std::string text = std::to_string(item.getId()) + "|" + item.getName() + "|" + item.getAccess();
    for (const SubItem& subItem : item.getSubItems()) {
        text += "|" + subItem.typeName + ":" + subItem.description + subItem.value;
    }
    return text;
}

std::string repeated(const std::string& text, int times) {
    return times == 0 ? "" : text + repeated(text, times - 1);
}

TEST(RingLine, AcceptedLines) {
    const struct {
        const char* line;
        const char* layout;
    } cases[] = {
        {"NV_G_I, 1024, ReadWrite, <SIGNED_WORD, gain, a, b>#<BYTE, flag>#",
         "1024|NV_G_I|readwrite|SIGNED_WORD:gain, a, b|BYTE:flag"},
        {"  NV S_I ,\t 7 , ReadWrite TIME ,\v< BYTE , a<b#c > #\f  <WORD,b>#\r\n ",
         "7|NV S_I|readwrite time|BYTE:a<b#c|WORD:b"},
        {",000065535,,<BYTE,>#", "65535|||BYTE:"},
        {"X,1,R,<DWORD,e>#<SIGNED_BYTE,b>#<SIGNED_DWORD,f>#<QWORD,g>#<SIGNED_QWORD,h>#",
         "1|X|r|DWORD:e|SIGNED_BYTE:b|SIGNED_DWORD:f|QWORD:g|SIGNED_QWORD:h"},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(layoutOf(NvItem(row.line)), row.layout);
    }
    const NvItem widest("X,1,Rewrite at Times," + repeated("<BYTE,a>#", 128));
    EXPECT_EQ(widest.getSubItemCount(), 128u);
    EXPECT_TRUE(widest.isWritable() && widest.isTime());
    const NvItem neither("X,1,ReadOnly,<BYTE,a>#");
    EXPECT_FALSE(neither.isWritable() || neither.isTime());
}

TEST(RingLine, RefusedLines) {
    const struct {
        std::string line;
        std::size_t message;
        const char* word;
    } cases[] = {
        {"X,5 ReadWrite,<BYTE,a>#", 1, "<BYTE,a>#"},
        {"X,5x,ReadWrite,<BYTE,a b>#", 1, "ReadWrite,<BYTE,a"},
        {"X,65536,ReadWrite,<BYTE,a>#", 1, "<BYTE,a>#"},
        {"X,5,ReadWrite,BYTE,a>#", 2, "YTE,a>#"},
        {"X,5,ReadWrite,<byte,a>#", 3, "a>#"},
        {"X,5,ReadWrite,<BYTE,a>", 4, ""},
        {"X,5,ReadWrite,<BYTE,a>b c>#", 4, "c>#"},
        {"X,5,ReadWrite,<BYTE,a>#junk", 5, "unk"},
        {"X,1,R," + repeated("<BYTE,a>#", 127) + "<WORD,b c>#", 6, "b"},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(messageOf<CalvaneException>([&] { NvItem item(row.line); }),
                  message(row.message, row.line, row.word));
    }
}

TEST(RingLine, RefusedLineReplacesTheItemUpToItsFault) {
    NvItem item("NV_OLD,5,ReadWrite,<BYTE,a>#<BYTE,b>#<BYTE,c>#");
    item.setData("1,2,3");
    const NvItem copy = item;
    EXPECT_THROW(item.setDecoderRingString("NV_NEW,6,ReadOnly,<WORD,w>#<FLOAT,f>#"), CalvaneException);
    EXPECT_EQ(layoutOf(item), "6|NV_NEW|readonly|WORD:w");
    EXPECT_THROW(item.setDecoderRingString("NV_NEXT,x,,"), CalvaneException);
    EXPECT_EQ(layoutOf(item), "6|NV_NEXT|");
    EXPECT_EQ(item.getData()[2], 3);
    EXPECT_EQ(layoutOf(copy), "5|NV_OLD|readwrite|BYTE:a1|BYTE:b2|BYTE:c3");
}

class RingFile : public testing::Test {
protected:
    std::string loadPath(const std::string& ring) {
        items_.clear();
        return messageOf<CalvaneException>([&] { items::loadDecoderRing(ring, items_); });
    }
    /// The failure of a file of this content, if any.
    std::string load(const std::string& content) {
        writeText(path_, content);
        return loadPath(path_);
    }
    std::vector<std::string> layouts() const {
        std::vector<std::string> all;
        for (const auto& [number, item] : items_) {
            EXPECT_EQ(number, item.getId());
            all.push_back(layoutOf(item));
        }
        return all;
    }

    const TemporaryFolder folder_;
    const std::string path_ = folder_ / "Test Ring.vrk";
    std::map<std::uint16_t, NvItem> items_;
};

TEST_F(RingFile, TakesItemsInAnyOrderBetweenCommentsWhateverEndsALine) {
    for (const std::string end : {"\n", "\r\n", " \t\r\n\r\n"}) {
        EXPECT_EQ(load("//" + end + " \v\f" + end + "  A,30,R,<BYTE,a>#  " + end + "   // x" + end +
                       "B,10,R,<WORD,b>#" + end + "C,20,R,<QWORD,c>#"),
                  "");
        EXPECT_THAT(layouts(), ElementsAre("10|B|r|WORD:b", "20|C|r|QWORD:c", "30|A|r|BYTE:a"));
    }
    EXPECT_EQ(load(""), "");
    EXPECT_EQ(load("/ x\n"), kLoader + message(1, "/ x", ""));
}

TEST_F(RingFile, AFailureKeepsTheItemsBeforeIt) {
    EXPECT_EQ(load("A,5,R,<BYTE,a>#\n\t X,7,R,<BYTE,a>#junk \r\nC,8,R,<BYTE,a>#\n"),
              kLoader + message(5, "X,7,R,<BYTE,a>#junk", "unk"));
    EXPECT_THAT(layouts(), ElementsAre("5|A|r|BYTE:a"));
    EXPECT_EQ(load("A,5,R,<BYTE,a>#\nB,4,R,<BYTE,b>#\nC,5,R,<WORD,c>#\nD,6,R,<BYTE,a>#\n"),
              kLoader + "The NV ID: '5' was found twice in the decoder ring file '" + path_ + "'.");
    EXPECT_THAT(layouts(), ElementsAre("4|B|r|BYTE:b", "5|A|r|BYTE:a"));
}

TEST_F(RingFile, HowItWasSavedIsSkippedOrTold) {
    const std::string mark = "\xEF\xBB\xBF";
    EXPECT_EQ(load(mark + "// x\nA,5,R,<BYTE,a>#\n"), "");
    EXPECT_EQ(load(mark + " A,5,R,<BYTE,a>#\nB\xE4,6,R,<BYTE,a>#"), "");
    EXPECT_THAT(layouts(), ElementsAre("5|A|r|BYTE:a", "6|B\xE4|r|BYTE:a"));
    EXPECT_EQ(load("\xFF\xFE,5,R,<BYTE,a>#\n"), "") << "two letters of Latin-1";
    const std::string wide = "A\0,\0"
                             "5\0,\0R\0\n\0"s;
    for (const std::string& text :
         {"\xFF\xFE" + wide, "\xFE\xFF\0"s + wide, wide, "\0"s + wide, "/\0/\0\n\0"s + wide}) {
        EXPECT_EQ(load(text), kLoader + "The decoder ring file: '" + path_ +
                                  "' is UTF-16: save it as plain text.  A decoder ring file is required.");
    }
}

TEST_F(RingFile, ALineMayHave65536Characters) {
    const std::string item = "A,5,R,<BYTE,>#";
    std::string line = item;
    line.insert(item.size() - 2, std::string(65536 - item.size(), 'd'));
    for (const std::string end : {"", "\n", "\nB,6,R,<BYTE,b>#"}) {
        EXPECT_EQ(load(line + end), "");
        EXPECT_EQ(load("//\n" + line + "\n" + line + " " + end),
                  kLoader + "The decoder ring file: '" + path_ +
                      "' has more than 65536 characters in line 3.  A decoder ring file is required.");
        EXPECT_EQ(items_.size(), 1U);
    }
}

TEST_F(RingFile, WhatIsNoFileIsToldAsWhatItIs) {
    const std::string pipe = folder_ / "pipe";
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    const std::pair<std::string, std::string> cases[] = {
        {path_, "doesn't exist"},
        {"/proc/self/mem", "doesn't exist"}, // can be opened, but its first byte can't be read
        {pipe, "is a pipe, not a file"},     // nobody ever writes into it
        {folder_.path, "doesn't exist"},
        {"/dev/zero", "doesn't exist"},
    };
    for (const auto& [path, reason] : cases) {
        EXPECT_EQ(loadPath(path),
                  kLoader + "The decoder ring file: '" + path + "' " + reason + ".  A decoder ring file is required.");
    }
}

} // namespace
