// The dialog templates as they stand in the built module. Users and their notes know labels and places;
// labels keep their misspellings.
#include <windows.h>

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

class Reader {
  public:
    explicit Reader(const void* data) : begin_(static_cast<const std::uint8_t*>(data)), at_(begin_) {}

    template <typename Value>
    Value Take() {
        Value value;
        std::memcpy(&value, at_, sizeof value);
        at_ += sizeof value;
        return value;
    }
    // A name, or the number of a system class.
    std::string TakeText() {
        std::string text;
        std::uint16_t unit = Take<std::uint16_t>();
        if (unit == 0xFFFF) return std::to_string(Take<std::uint16_t>());
        for (; unit != 0; unit = Take<std::uint16_t>()) text += static_cast<char>(unit);
        return text;
    }
    void Align() { at_ += (begin_ - at_) & 3; }

  private:
    const std::uint8_t* begin_;
    const std::uint8_t* at_;
};

std::string Line(const char* format, unsigned style, unsigned exStyle, int id, const int (&place)[4],
                 const std::string& kind, const std::string& title) {
    char text[200];
    std::snprintf(text, sizeof text, format, id, kind.c_str(), style, exStyle, place[0], place[1], place[2],
                  place[3], title.c_str());
    return text;
}

// One line for the dialog and one for each control: id, class, style, extended style, place, text. 128 is a
// button, 130 a static, 132 a scroll bar.
std::vector<std::string> ReadTemplate(LPCSTR name) {
    const HMODULE module = LoadLibraryExA(".\\MarbleFrondKeeper.8bf", nullptr, LOAD_LIBRARY_AS_DATAFILE);
    const HRSRC resource = FindResourceA(module, name, MAKEINTRESOURCEA(5));  // a dialog
    if (resource == nullptr) return {"no such template"};
    Reader reader(LockResource(LoadResource(module, resource)));
    std::vector<std::string> lines;

    std::uint32_t style = reader.Take<std::uint32_t>();
    const bool extended = style == 0xFFFF0001;
    if (extended) reader.Take<std::uint32_t>();  // help
    std::uint32_t exStyle = reader.Take<std::uint32_t>();
    if (extended) style = reader.Take<std::uint32_t>();
    const int controls = reader.Take<std::uint16_t>();
    const auto takePlace = [&](int(&place)[4]) {
        for (int& number : place) number = reader.Take<std::int16_t>();
    };
    int place[4];
    takePlace(place);
    const std::string menu = reader.TakeText(), windowClass = reader.TakeText(), title = reader.TakeText();
    lines.push_back(Line("%d%s %x %x %d,%d,%d,%d '%s'", style, exStyle, controls, place,
                         extended ? " extended" : " classic", title));
    EXPECT_EQ(menu + windowClass, "");
    const int points = reader.Take<std::uint16_t>();
    if (extended) reader.Take<std::uint32_t>();  // weight, italic, character set
    lines.push_back(std::to_string(points) + " " + reader.TakeText());

    for (int control = 0; control < controls; ++control) {
        reader.Align();
        if (extended) reader.Take<std::uint32_t>();
        style = reader.Take<std::uint32_t>();
        exStyle = reader.Take<std::uint32_t>();
        if (extended) std::swap(style, exStyle);
        takePlace(place);
        const int id = extended ? reader.Take<std::int32_t>() : reader.Take<std::int16_t>();
        const std::string kind = reader.TakeText(), text = reader.TakeText();
        lines.push_back(Line("%d %s %x %x %d,%d,%d,%d '%s'", style, exStyle, id, place, kind, text));
        EXPECT_EQ(reader.Take<std::uint16_t>(), 0) << "creation data";
    }
    FreeLibrary(module);
    return lines;
}

TEST(DialogTemplate, OfTheParameters) {
    const std::vector<std::string> expected = {
        "26 extended 80c000c0 0 34,40,492,338 'MarbleFrondKeeperPlugin'",
        "8 MS Sans Serif",
        "1 128 50014001 0 406,314,34,14 '&OK'",
        "2 128 50014000 0 443,314,34,14 '&Cancel'",
        "11 130 40020001 20 3,2,261,286 ''",
        "1006 MSCTLS_TRACKBAR32 50010014 0 288,48,176,16 ''",
        "1007 MSCTLS_TRACKBAR32 50010014 0 288,84,176,16 ''",
        "1008 MSCTLS_TRACKBAR32 50010014 0 288,121,176,16 ''",
        "1009 MSCTLS_TRACKBAR32 50010014 0 288,151,176,16 ''",
        "-1 130 50020000 0 288,36,165,8 'Remove Background Areas (Where green is)'",
        "-1 130 50020000 0 288,72,103,8 'Restore Dark Areas'",
        "-1 130 50020000 0 289,143,194,8 'Select how transpatent the Transparent Areas are'",
        "-1 130 50020000 0 288,108,194,8 'To alter blue areas go right, for green areas go left'",
        "1010 MSCTLS_TRACKBAR32 50010014 0 288,182,177,16 ''",
        "-1 130 50020000 0 290,206,194,8 'Adjust the background green levels'",
        "1011 MSCTLS_TRACKBAR32 50010014 0 288,214,184,20 ''",
        "1013 128 50010003 0 306,240,55,10 'Blend Edges'",
        "1014 128 50010003 0 306,258,72,10 'Show Selected Ares'",
        "1015 128 50010003 0 391,241,62,8 'Use Blue Logic'",
        "1016 128 50010003 0 391,258,76,10 'Show Original Photo'",
        "1017 128 40010000 0 427,296,31,13 'Help'",
        "-1 130 50020000 0 290,171,194,8 'Scale the Transparent areas'",
        "1018 128 50010003 0 324,276,144,10 'Output Transparency Information'",
        "1021 MSCTLS_TRACKBAR32 50010014 0 24,306,210,15 ''",
        "1022 132 50000001 0 264,0,10,288 ''",
        "1023 132 50000000 0 0,288,264,11 ''",
        "-1 130 50020200 0 108,324,78,8 'Scale Preview'",
        "1019 128 50010000 0 305,314,31,13 'Reset'",
    };
    EXPECT_EQ(ReadTemplate("MarbleFrondKeeperPluginPARAM"), expected);
}

TEST(DialogTemplate, OfTheAboutBox) {
    const std::vector<std::string> lines = ReadTemplate(MAKEINTRESOURCEA(16000));
    ASSERT_EQ(lines.size(), 7u);
    EXPECT_EQ(lines[0], "5 classic 80c000c0 0 0,0,189,120 ''");
    EXPECT_EQ(lines[1], "8 MS Sans Serif");
    EXPECT_EQ(lines[2], "1 128 48010001 0 171,7,11,14 'OK'");
    EXPECT_EQ(lines[3], "2 128 48010000 0 172,24,10,14 'Cancel'");
    EXPECT_EQ(lines[4], "3 130 50020000 0 16,7,148,83 'Static'");
    EXPECT_EQ(lines[5].find("4 128 50010000 0 13,100,67,13 '"), 0u) << lines[5];
    EXPECT_EQ(lines[6].find("5 128 50010000 0 91,100,76,13 '"), 0u) << lines[6];
}

}  // namespace
