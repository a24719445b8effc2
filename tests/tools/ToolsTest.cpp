#include "tests/support/TemporaryDirectory.h"
#include "tests/support/Texts.h"
#include "tools/CommandLine.h"
#include "tools/JsonFile.h"
#include "tools/Program.h"

#include <gmock/gmock.h>

using namespace testing;

namespace
{
/// A record of a number from 1 to 9 and a list of whole ones.
std::string Read(const CJsonValue& record)
{
    std::string read;
    for (const CJsonValue& member : record.Members()) {
        if (member.Key() == "depth") {
            read += std::to_string(member.Number(1, 9)) + " ";
        } else if (member.Key() == "fish") {
            for (const CJsonValue& element : member.Elements()) {
                read += std::to_string(static_cast<int>(element.Number(-5, 5, true))) + " ";
            }
        } else {
            member.Refuse("unknown key");
        }
    }
    return read;
}
} // namespace

TEST(JsonFile, IsReadWhateverItsLayout)
{
    EXPECT_EQ(Read(CJsonValue::Parse("f", "\xef\xbb\xbf{\r\n\"fish\":[ -1,2 ,\t3e0],\"\\u0064epth\" : 2.5}")),
              "-1 2 3 2.500000 ");
    EXPECT_EQ(Read(CJsonValue::Parse("f", "{}")), "");
}

TEST(JsonFile, AnErrorIsReportedWithItsPlace)
{
    const std::pair<const char*, const char*> cases[] = {
        {"", "f:1:1: illegal value"},
        {"{\n \"depth\": 2,\n}", "f:3:1: object is missing after a comma"},
        {"{\"depth\": 2} {}", "f:1:13: garbage at the end of the document"},
        {"{\"depth\": 1e999}", "f:1:15: illegal number"},
        {"[]", "f:1:1: is not an object"},
        {"{\"depth\": 2,\n  \"fish\": [], \"de\\u0070th\": 3}",
         "f:2:15: depth: the object has this key twice"},
        {"{\"fish\": [1,\n\n 1.5]}", "f:3:2: fish[1]: 1.5 is not a whole number from -5 to 5"},
        {"{\"depth\": 9.5}", "f:1:2: depth: 9.5 is not a number from 1 to 9"},
        {"{\"depth\": \"2\"}", "f:1:2: depth: is not a number"},
        {"{\"fish\": {}}", "f:1:2: fish: is not a list"},
        {"{\"fish\": [\"]\\\"\", {\"a\": [null]}]}", "f:1:11: fish[0]: is not a number"},
        {"{\"fish\": [{\"a\": [null, true]}, \"\\\\\"], \"other\": 1}", "f:1:11: fish[0]: is not a number"},
        {"{\"other\": [{\"a\": {}}]}", "f:1:2: other: unknown key"},
        {"{\"\\u001b[2J\xc3\xa9\": 1}", "f:1:2: ?[2J??: unknown key"}};
    for (const auto& [text, message] : cases) {
        EXPECT_EQ(ErrorOf([&json = text] { Read(CJsonValue::Parse("f", json)); }), message) << text;
    }
    const auto refused = [](const QByteArray& text) {
        return ErrorOf([&] { Read(CJsonValue::Parse("f", text)); });
    };
    EXPECT_THAT(refused(QByteArray(2000, '[')), HasSubstr("too deeply nested"));
    EXPECT_THAT(refused(QByteArray(17, '[') + QByteArray(17, ']')), HasSubstr("has more than 16 levels"));
    EXPECT_THAT(refused('[' + QByteArray(40'000, '0').replace("00", "0,") + "0]"),
                HasSubstr("f:1:40002: [20000]: the file has more than 20000 values"));
    EXPECT_EQ(refused("{\"" + QByteArray(1000, 'k') + "\": 1}"),
              "f:1:2: " + std::string(60, 'k') + "...: unknown key");
}

TEST(JsonFile, AFileThatCannotBeReadSaysWhy)
{
    const TemporaryDirectory directory;
    const std::string file = directory.Write("file", R"({"depth": 2})");
    EXPECT_EQ(Read(CJsonValue::ReadFile(file)), "2.000000 ");
    EXPECT_EQ(ErrorOf([&] { CJsonValue::ReadFile(file + "x"); }), file + "x: No such file or directory");
    EXPECT_THAT(ErrorOf([] { CJsonValue::ReadFile("/"); }), HasSubstr("Is a directory"));
    EXPECT_EQ(ErrorOf([] { CJsonValue::ReadFile("/dev/zero"); }), "/dev/zero: larger than 1 MiB");
}

TEST(CommandLine, SuggestsTheIntendedWord)
{
    const std::vector<std::string> words = {"QL4K", "QL5K", "LumetV4", "batteryvoltage"};
    const std::pair<const char*, const char*> cases[] = {{"ql4k", "; did you mean QL4K?"},
                                                         {"QLK5", "; did you mean QL5K?"},
                                                         {"LumtV4", "; did you mean LumetV4?"},
                                                         {"bateryvoltag", "; did you mean batteryvoltage?"},
                                                         {"HY05", ""},
                                                         {"", ""}};
    for (const auto& [word, hint] : cases) {
        EXPECT_EQ(DidYouMean(word, words), hint) << word;
    }
}

TEST(CommandLine, KeepsEachValueOfARepeatedOption)
{
    CCommandLine line(u"name"_qs, u""_qs);
    const QCommandLineOption often(u"often"_qs, u""_qs, u"VALUE"_qs);
    line.Add(often, Occurs::Often);
    ASSERT_TRUE(line.Read({u"name"_qs, u"--often"_qs, u"1"_qs, u"--often=2"_qs}));
    EXPECT_EQ(line.Parser().values(often), QStringList({u"1"_qs, u"2"_qs}));
    EXPECT_EQ(BytesOf(QString::fromLatin1("caf\xe9")), "caf\xe9");
}
