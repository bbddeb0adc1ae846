// Pictures out of streams and directories, and into them.
#include "support/scratch.h"
#include "tools/lumo/demo/test_picture.h"
#include "tools/lumo/media/desktop_frame.h"
#include "tools/lumo/media/picture_sink.h"
#include "tools/lumo/media/picture_source.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace lumo;
using namespace std::string_literals;
namespace fs = std::filesystem;

namespace {

std::string Segment(uint8_t marker, const std::string& body) {
    const size_t length = body.size() + 2;
    return std::string("\xff") + static_cast<char>(marker) + static_cast<char>(length >> 8) +
           static_cast<char>(length) + body;
}

/// A picture as far as markers go, with whatever could be taken for its end inside.
std::string Jpeg(char mark) {
    const std::string thumbnail = "\xff\xd8" + Segment(0xdb, "table") + Segment(0xda, "head") + "data\xff\xd9";
    const std::string stuffed = std::string("\xff\x00", 2) + "\xff\xd0\xff\xff\xd7" + mark;
    return "\xff\xd8" + Segment(0xe1, "Exif" + thumbnail) + "\xff\xff" + Segment(0xc4, "\xff\xd9").substr(1) +
           Segment(0xda, "\xff\xd9") + "abc" + stuffed + Segment(0xc4, "more") + Segment(0xda, "second scan") +
           stuffed + "\xff\xd9";
}

std::vector<std::string> Split(const std::string& bytes, size_t piece, uint64_t* skipped = nullptr,
                               size_t most = 100000) {
    CJpegSplitter splitter(most);
    std::vector<std::string> pictures;
    std::string picture;
    for (size_t at = 0; at < bytes.size(); at += piece) {
        splitter.Feed(bytes.data() + at, std::min(piece, bytes.size() - at));
        while (splitter.Next(picture)) pictures.push_back(picture);
    }
    if (skipped) *skipped = splitter.Skipped();
    return pictures;
}

TEST(JpegSplitter, FindsWholePicturesInPiecesOfAnySizeAndGoesOnBehindWhatIsNone) {
    constexpr size_t kMost = 1000;
    const std::string good = Jpeg('g');
    const std::pair<const char*, std::string> rows[] = {
        {"nothing", ""},
        {"another picture", Jpeg('b')},
        {"foreign bytes", "HTTP/1.1 200 OK\r\n\r\n"},
        {"zeros between", std::string(500, '\0')},
        {"half a start", "\xff\xd8"},
        {"cut off among its data", good.substr(0, good.size() - 4)},
        {"cut off before its data", "\xff\xd8" + Segment(0xdb, "table")},
        {"a segment shorter than its own length", "\xff\xd8\xff\xdb\x00\x01"s},
        {"no marker where one must be", "\xff\xd8" + Segment(0xdb, "table") + "xyz"},
        {"longer than the limit", "\xff\xd8" + Segment(0xda, "") + std::string(5000, 'x') + "\xff\xd9"},
    };
    for (const auto& [what, between] : rows) {
        const bool none = FormatOf(between) == PictureFormat::None || between.size() > kMost;
        const std::vector<std::string> expected = none ? std::vector{good, good} : std::vector{good, between, good};
        for (const size_t piece : {1U, 2U, 3U, 10U, 64U, 100000U}) {
            uint64_t skipped = 0;
            EXPECT_EQ(Split(good + between + good, piece, &skipped, kMost), expected) << what << " in " << piece;
            EXPECT_EQ(skipped > 0, none && !between.empty()) << what;
        }
    }
}

TEST(Pictures, AreWholeOrNone) {
    std::string png = TestPng(40, 30, 1);
    for (const auto& [picture, format] : {std::pair(png, PictureFormat::Png), {Jpeg('a'), PictureFormat::Jpeg}}) {
        EXPECT_EQ(FormatOf(picture), format);
        for (size_t length = 0; length < picture.size(); ++length)
            EXPECT_EQ(FormatOf(picture.substr(0, length)), PictureFormat::None) << length;
    }
    png[8] = '\xff';  // the first chunk's length
    EXPECT_EQ(FormatOf(png), PictureFormat::None);
}

TEST(DesktopFrames, EveryLengthIsChecked) {
    const DesktopHead picture{DesktopKind::Picture, PictureFormat::Jpeg, 7, 2, 1, 5};
    const std::string whole = Encode(picture, "p"), bare = Encode({DesktopKind::End, {}, 7, 2, 1, 5}, "");
    ASSERT_EQ(bare.size(), kDesktopHeadLength);
    DesktopHead head;
    std::string bytes;
    EXPECT_TRUE(Decode(bare.data(), bare.size(), head, bytes) && bytes.empty() && head.kind == DesktopKind::End);
    EXPECT_TRUE(Decode(whole.data(), whole.size(), head, bytes) && bytes == "p" && head.takenUs == 5);
    for (size_t length = 0; length < whole.size(); ++length)
        EXPECT_FALSE(Decode(whole.data(), length, head, bytes)) << length;
    const std::pair<size_t, char> lies[] = {{0, 0}, {0, 5}, {0, 3}, {1, 0}, {1, 3}, {5, 0}, {9, 0}, {13, 0}};
    for (const auto& [at, value] : lies) {
        std::string frame = whole;
        frame[at] = value;
        EXPECT_FALSE(Decode(frame.data(), frame.size(), head, bytes)) << at << " " << int{value};
    }
    const std::string report = Encode(ViewReport{9, 1, 2, 3, 4, 5});
    ASSERT_EQ(report.size(), kViewReportLength);
    ViewReport heard;
    EXPECT_TRUE(Decode(report.data(), report.size(), heard));
    EXPECT_EQ(heard.pointerY, 5);
    for (size_t length = 0; length < report.size(); ++length)
        EXPECT_FALSE(Decode(report.data(), length, heard)) << length;
    EXPECT_FALSE(Decode((report + "x").data(), report.size() + 1, heard));
}

TEST(PictureFolder, ComesInTheOrderOfNamesAtItsPace) {
    const CScratch folder;
    folder.Put("2.JPG", Jpeg('2'));
    folder.Put("10.png", TestPng(8, 8, 1));
    folder.Put("notes.txt", "no picture");
    folder.Put("0.png/1", "a directory");
    for (const char* name : {"1.png", "3.png"}) fs::create_symlink(folder / "nowhere", folder / name);
    CPictureFolder source(10, true);
    ASSERT_TRUE(source.Open(folder / "")) << source.Problem();
    Picture picture;
    const std::pair<uint64_t, PictureFormat> rows[] = {{1000, PictureFormat::Png},  {1099, PictureFormat::None},
                                                       {1100, PictureFormat::Jpeg}, {1100, PictureFormat::None},
                                                       {1250, PictureFormat::Png},  {1300, PictureFormat::Jpeg}};
    for (const auto& [now, format] : rows) {
        picture = {};
        const auto state = source.Fetch(now, picture);
        EXPECT_EQ(picture.format, format) << now;
        EXPECT_EQ(state == IPictureSource::State::Wait, format == PictureFormat::None) << now;
    }
    EXPECT_EQ(source.WaitMs(1310), 90U);
}

TEST(PictureFolder, SaysWhatIsWrongAndEnds) {
    const CScratch folder;
    Picture picture;
    EXPECT_FALSE(CPictureFolder(1, false).Open(folder / "nowhere"));
    folder.Put("a.png", TestPng(8, 8, 1));
    CPictureFolder good(1, false), cut(1, false);
    ASSERT_TRUE(good.Open(folder / ""));
    EXPECT_EQ(good.Fetch(5, picture), IPictureSource::State::Picture);
    EXPECT_EQ(good.Fetch(5, picture), IPictureSource::State::Wait) << "the last one has its time too";
    EXPECT_EQ(good.Fetch(1005, picture), IPictureSource::State::End);
    folder.Put("a.png", TestPng(8, 8, 1).substr(0, 60));
    ASSERT_TRUE(cut.Open(folder / ""));
    EXPECT_EQ(cut.Fetch(5, picture), IPictureSource::State::Failed);
    EXPECT_NE(cut.Problem().find("a.png"), std::string::npos) << cut.Problem();
}

TEST(PictureFiles, AreNumberedAndOverwriteNothing) {
    const CScratch folder;
    for (const char content : {'a', 'b'}) {
        CPictureFiles sink;
        ASSERT_TRUE(sink.Open(folder / "out")) << sink.Problem();
        EXPECT_TRUE(sink.Put({PictureFormat::Jpeg, Jpeg(content)}));
    }
    EXPECT_EQ(folder.Get("out/00000001.jpg") + folder.Get("out/00000002.jpg"), Jpeg('a') + Jpeg('b'));
}

}  // namespace
