#include "engine/DecoderRing.h"

#include "engine/CalvaneException.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;

const std::string kError = "Error processing the decoder ring file.  ";
const std::string kLoader = "Calvane::Calvane( const string decoderRingFile ) - ";
const std::string kTooWide = "The subitems of an NV item can't add up to more than 128 bytes.";

std::string early(const std::string& reason, const std::string& line, const std::string& word) {
    return kError + reason + "  The following decoder ring string is in valid '" + line + "\n\n" +
           "' Processing of the string stopped here '" + word + "'.";
}
std::string late(const std::string& reason, const std::string& line, const std::string& word) {
    return kError + reason + "  The following decoder ring string is in valid '" + line +
           "' processing of the string stopped here '" + word + "'.";
}
std::string message(int number, const std::string& line, const std::string& word) {
    switch (number) {
    case 1:
        return early("After the NV item ID there should be a comma.", line, word);
    case 2:
        return early("After the NV item ID and comma there should be a less than sign '<'.", line, word);
    case 3:
        return late("The types that can be specified for the subitem can be: 'SIGNED_BYTE', 'BYTE', 'SIGNED_WORD', "
                    "'WORD', 'SIGNED_DWORD', 'DWORD'.",
                    line, word);
    case 4:
        return late("There should be a pound sign '#' seperating the subitem types.", line, word);
    case 5:
        return late("There should be a less than sign '<' after each pound sign '#' to indicate the start of the next "
                    "subitem.",
                    line, word);
    default:
        return late(kTooWide, line, word);
    }
}

std::vector<std::string> layoutOf(const NvItem& item) {
    std::vector<std::string> texts{std::to_string(item.getId()), item.getName(), item.getAccess()};
    for (const SubItem& subItem : item.getSubItems()) {
        texts.push_back(subItem.typeName + ":" + subItem.description + subItem.value);
    }
    return texts;
}

std::string repeated(const std::string& text, int times) {
    std::string all;
    while (times-- > 0) {
        all += text;
    }
    return all;
}

TEST(RingLine, AcceptedLines) {
    struct Case {
        const char* breaks;
        std::string line;
        std::vector<std::string> layout;
    };
    const Case cases[] = {
        {"description with commas",
         "NV_G_I, 1024, ReadWrite, <SIGNED_WORD, gain, a, b>#<BYTE, flag>#",
         {"1024", "NV_G_I", "readwrite", "SIGNED_WORD:gain, a, b", "BYTE:flag"}},
        {"white space everywhere",
         "  NV S_I ,\t 7 , readwrite ,\v< BYTE , spare > #\f  <WORD,b>#\r\n ",
         {"7", "NV S_I", "readwrite", "BYTE:spare", "WORD:b"}},
        {"signs in a description", "X,1,R,<WORD,a<b#c>#", {"1", "X", "r", "WORD:a<b#c"}},
        {"access of two words", "X,2001,ReadWrite TIME,<DWORD,s>#", {"2001", "X", "readwrite time", "DWORD:s"}},
        {"empty texts", ",9,,<BYTE,>#", {"9", "", "", "BYTE:"}},
        {"largest number", "X,65535,R,<BYTE,a>#", {"65535", "X", "r", "BYTE:a"}},
        {"leading zeros", "X,000000012,R,<BYTE,a>#", {"12", "X", "r", "BYTE:a"}},
        {"every type",
         "X,1,R,<BYTE,a>#<SIGNED_BYTE,b>#<WORD,c>#<SIGNED_WORD,d>#<DWORD,e>#<SIGNED_DWORD,f>#<QWORD,g>#<SIGNED_QWORD,h>"
         "#",
         {"1", "X", "r", "BYTE:a", "SIGNED_BYTE:b", "WORD:c", "SIGNED_WORD:d", "DWORD:e", "SIGNED_DWORD:f", "QWORD:g",
          "SIGNED_QWORD:h"}},
    };
    for (const Case& row : cases) {
        SCOPED_TRACE(row.breaks);
        EXPECT_EQ(layoutOf(NvItem(row.line)), row.layout);
    }
    EXPECT_EQ(NvItem("X,1,R," + repeated("<QWORD,a>#", 16)).getSubItemCount(), 16u);
    EXPECT_EQ(NvItem("X,1,R," + repeated("<BYTE,a>#", 128)).getSubItemCount(), 128u);
}

TEST(RingLine, TypeCodesAreFixed) {
    const NvItem item("X,1,R,<SIGNED_QWORD,h>#<QWORD,g>#<SIGNED_DWORD,f>#<DWORD,e>#<SIGNED_WORD,d>#<WORD,c>#"
                      "<SIGNED_BYTE,b>#<BYTE,a>#");
    std::vector<int> codes;
    for (const SubItemType type : item.getSubItemTypes()) {
        codes.push_back(static_cast<int>(type));
    }
    EXPECT_THAT(codes, ElementsAre(7, 6, 5, 4, 3, 2, 1, 0));
}

TEST(RingLine, RefusedLines) {
    struct Case {
        const char* breaks;
        std::string line;
        int message;
        std::string word;
    };
    const std::string bytes127 = "X,1,R," + repeated("<BYTE,a>#", 127);
    const Case cases[] = {
        {"nothing at all", "", 1, ""},
        {"half a comment", "/ x", 1, ""},
        {"name alone", "X", 1, ""},
        {"no comma after the number", "X,5 ReadWrite,<BYTE,a>#", 1, "<BYTE,a>#"},
        {"junk at the number", "X,5x,ReadWrite,<BYTE,a b>#", 1, "ReadWrite,<BYTE,a"},
        {"number ends the line", "X,5", 1, ""},
        {"number too large", "X,65536,ReadWrite,<BYTE,a>#", 1, "<BYTE,a>#"},
        {"number far too large", "X,99999999999999999999999,ReadWrite,<BYTE,a>#", 1, "<BYTE,a>#"},
        {"negative number", "X,-5,ReadWrite,<BYTE,a>#", 1, "ReadWrite,<BYTE,a>#"},
        {"no number", "X,,ReadWrite,<BYTE,a>#", 1, "<BYTE,a>#"},
        {"no less-than sign", "X,5,ReadWrite,BYTE,a>#", 2, "YTE,a>#"},
        {"no sub-fields", "X,5,ReadWrite,", 2, ""},
        {"access ends the line", "X,5,ReadWrite", 2, ""},
        {"small letters", "X,5,ReadWrite,<byte,a>#", 3, "a>#"},
        {"display spelling", "X,5,ReadWrite,<SIGNED BYTE,a b>#", 3, "a"},
        {"signed alone", "X,5,ReadWrite,<SIGNED_,a>#", 3, "a>#"},
        {"other type", "X,5,ReadWrite,<TWORD,a>#", 3, "a>#"},
        {"longer type", "X,5,ReadWrite,<BYTES,a>#", 3, "a>#"},
        {"no type", "X,5,ReadWrite,<,a>#", 3, "a>#"},
        {"no description", "X,5,ReadWrite,<BYTE>#", 3, ""},
        {"no closing pound", "X,5,ReadWrite,<BYTE,a>", 4, ""},
        {"no greater-than sign", "X,5,ReadWrite,<BYTE,a#", 4, ""},
        {"no pound between", "X,5,ReadWrite,<BYTE,a><BYTE,b>#", 4, "BYTE,b>#"},
        {"greater-than in a description", "X,5,ReadWrite,<BYTE,a>b c>#", 4, "c>#"},
        {"junk at the end", "X,5,ReadWrite,<BYTE,a>#junk", 5, "unk"},
        {"comma at the end", "X,5,ReadWrite,<BYTE,a>#,", 5, ""},
        {"129 bytes", bytes127 + "<WORD,b c>#", 6, "b"},
        {"136 bytes of quads", "X,1,R," + repeated("<QWORD,a>#", 17), 6, "a>#"},
    };
    for (const Case& row : cases) {
        SCOPED_TRACE(row.breaks);
        std::string text = "accepted";
        try {
            NvItem item(row.line);
        } catch (const CalvaneException& exception) {
            text = exception.what();
        }
        EXPECT_EQ(text, message(row.message, row.line, row.word));
    }
}

TEST(RingLine, RefusedLineReplacesTheItemUpToItsFault) {
    NvItem item("NV_OLD,5,ReadWrite,<BYTE,a>#<BYTE,b>#<BYTE,c>#");
    item.setData("1,2,3");
    EXPECT_THROW(item.setDecoderRingString("NV_NEW,6,ReadOnly,<WORD,w>#<FLOAT,f>#"), CalvaneException);
    EXPECT_THAT(layoutOf(item), ElementsAre("6", "NV_NEW", "readonly", "WORD:w"));
    EXPECT_THROW(item.setDecoderRingString("NV_NEXT,x,,"), CalvaneException);
    EXPECT_THAT(layoutOf(item), ElementsAre("6", "NV_NEXT", ""));
    EXPECT_EQ(item.getData()[2], 3);
}

/// A directory of its own for each test.
class RingFile : public testing::Test {
protected:
    RingFile() {
        std::string path = (fs::temp_directory_path() / "calvane-ring-XXXXXX").string();
        directory_ = ::mkdtemp(path.data());
        path_ = (directory_ / "Test Ring.vrk").string();
    }
    ~RingFile() override { fs::remove_all(directory_); }

    /// Loads a file of this content into items_ and returns the failure, if any.
    std::string load(const std::string& content) {
        std::ofstream(path_, std::ios::binary) << content;
        return loadPath(path_);
    }
    std::string loadPath(const std::string& path) {
        try {
            items::loadDecoderRing(path, items_);
        } catch (const CalvaneException& exception) {
            return exception.what();
        }
        return "";
    }
    std::vector<int> numbers() const {
        std::vector<int> all;
        for (const auto& [number, item] : items_) {
            EXPECT_EQ(number, item.getId());
            all.push_back(number);
        }
        return all;
    }

    fs::path directory_;
    std::string path_;
    std::map<std::uint16_t, NvItem> items_;
};

TEST_F(RingFile, CommentsAndBlankLinesAreSkipped) {
    EXPECT_EQ(load("// a\n\n   // b\n \t\r\v\f\n//\r\n//"), "");
    EXPECT_TRUE(items_.empty());
    EXPECT_EQ(load(""), "");
    EXPECT_EQ(load("/ x\n"), kLoader + message(1, "/ x", ""));
}

TEST_F(RingFile, AnyOrderLineEndAndLastLine) {
    for (const std::string end : {"\n", "\r\n", " \t\r\n\r\n"}) {
        items_.clear();
        EXPECT_EQ(load("// ring" + end + "  A,30,ReadWrite,<BYTE,a>#  " + end + "B,10,ReadOnly,<WORD,b>#" + end +
                       "C,20,ReadWrite,<QWORD,c>#"),
                  "");
        EXPECT_THAT(numbers(), ElementsAre(10, 20, 30));
        EXPECT_THAT(layoutOf(items_.at(30)), ElementsAre("30", "A", "readwrite", "BYTE:a"));
        EXPECT_THAT(layoutOf(items_.at(20)), ElementsAre("20", "C", "readwrite", "QWORD:c"));
    }
}

TEST_F(RingFile, FailureKeepsTheItemsBeforeItAndQuotesTheTrimmedLine) {
    EXPECT_EQ(load("A,5,R,<BYTE,a>#\nB,6,R,<BYTE,a>#\n\t X,7,R,<BYTE,a>#junk \r\nC,8,R,<BYTE,a>#\n"),
              kLoader + message(5, "X,7,R,<BYTE,a>#junk", "unk"));
    EXPECT_THAT(numbers(), ElementsAre(5, 6));
}

TEST_F(RingFile, NumberOccursOnce) {
    EXPECT_EQ(load("A,5,R,<BYTE,a>#\nB,4,R,<BYTE,a>#\nC,5,R,<WORD,c>#\nD,6,R,<BYTE,a>#\n"),
              kLoader + "The NV ID: '5' was found twice in the decoder ring file '" + path_ + "'.");
    EXPECT_THAT(numbers(), ElementsAre(4, 5));
    EXPECT_EQ(items_.at(5).getName(), "A");
}

TEST_F(RingFile, AFileThatIsMissingOrNoneIsToldAsWhatItIs) {
    const fs::path pipe = directory_ / "pipe";
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    const std::pair<std::string, std::string> cases[] = {
        {path_, "doesn't exist"},
        {"", "doesn't exist"},
        {"/proc/self/mem", "doesn't exist"}, // can be opened, but its first byte can't be read
        {pipe, "is a pipe, not a file"},     // nobody ever writes into it
        {directory_, "is a folder, not a file"},
        {"/dev/zero", "is a device, not a file"},
    };
    for (const auto& [path, reason] : cases) {
        EXPECT_EQ(loadPath(path), kLoader + "The decoder ring file: '" + path + "' " + reason +
                                      ".  A decoder ring file is required.");
    }
    EXPECT_TRUE(items_.empty());
}

TEST_F(RingFile, ZeroBytesArePlainCharacters) {
    using namespace std::string_literals;
    EXPECT_EQ(load("A\0B,5,R,<BYTE,x\0y>#\n"s), "");
    EXPECT_EQ(items_.at(5).getName(), "A\0B"s);
    EXPECT_EQ(items_.at(5).getSubItems()[0].description, "x\0y"s);
    EXPECT_THAT(load("\0\n"s), testing::StartsWith(kLoader + kError));
}

/// Lines of all lengths around those of any buffer, and some far longer, among short ones.
TEST_F(RingFile, LinesOfAnyLength) {
    std::string content;
    std::map<int, std::size_t> lengths;
    const std::size_t sizes[] = {1, 5, 32000, 40000, 65500, 65535, 65536, 65537, 131072, 3000000, 7};
    for (int number = 0; const std::size_t size : sizes) {
        for (const std::size_t length : {size, std::size_t{20}}) {
            content += "N," + std::to_string(++number) + ",R,<BYTE," + std::string(length, 'd') + ">#<WORD,w>#\n";
            lengths[number] = length;
        }
    }
    EXPECT_EQ(load(content), "");
    ASSERT_EQ(items_.size(), lengths.size());
    for (const auto& [number, length] : lengths) {
        const std::vector<SubItem> subItems = items_.at(static_cast<std::uint16_t>(number)).getSubItems();
        EXPECT_EQ(subItems.at(0).description, std::string(length, 'd'));
        EXPECT_EQ(subItems.at(1).description, "w");
    }
}

TEST_F(RingFile, WholeNumberRangeAndLayoutsOutliveTheRing) {
    std::string content;
    for (int number = 65535; number >= 0; --number) {
        content += "NV_" + std::to_string(number) + "_I," + std::to_string(number) + ",ReadWrite,<WORD,v" +
                   std::to_string(number) + ">#\n";
    }
    ASSERT_EQ(load(content), "");
    ASSERT_EQ(items_.size(), 65536u);
    std::vector<NvItem> kept;
    for (const auto& [number, item] : items_) {
        if (number % 1000 == 7) {
            kept.push_back(item);
        }
    }
    items_.clear();
    for (const NvItem& item : kept) {
        const std::string number = std::to_string(item.getId());
        EXPECT_THAT(layoutOf(item), ElementsAre(number, "NV_" + number + "_I", "readwrite", "WORD:v" + number));
    }
}

} // namespace
