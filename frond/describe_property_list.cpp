#include <cstdio>

#include "frond/module_description.h"

namespace frond {

std::string TakeCode(ByteReader& reader) {
    const std::string stored = reader.TakeText(4);
    return std::string(stored.rbegin(), stored.rend());
}

namespace {

std::string Line(const std::string& title, const std::string& text) {
    std::string line = "  " + title;
    line.resize(20, ' ');
    return line + text + "\n";
}

std::string Hex(std::uint32_t value) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%08x", value);
    return text;
}

std::string ZeroTerminated(const Bytes& value, std::size_t from = 0) {
    std::string text;
    for (std::size_t i = from; i < value.size() && value[i] != 0; ++i) text += static_cast<char>(value[i]);
    return text;
}

std::string KindText(const std::string& code) {
    return code == "8BFM" ? "filter (8BFM)" : code;
}

// Mode 0 is the first byte's highest bit.
std::string ModesText(const Bytes& value) {
    const char* const names[] = {"bitmap",        "grey",         "indexed colour", "RGB",          "CMYK",
                                 "HSL",           "HSB",          "multichannel",   "duotone",      "Lab",
                                 "grey, 16 bits", "RGB, 16 bits", "Lab, 16 bits",   "CMYK, 16 bits"};
    std::string text;
    for (std::size_t i = 0; i < std::size(names); ++i) {
        if (i / 8 >= value.size() || (value[i / 8] >> (7 - i % 8) & 1) == 0) continue;
        text += (text.empty() ? "" : ", ") + std::string(names[i]);
    }
    return text.empty() ? "none" : text;
}

std::string TermsText(const Bytes& value) {
    ByteReader reader{&value};
    reader.Take32();
    const std::string eventClass = TakeCode(reader), event = TakeCode(reader);
    const std::uint32_t id = reader.Take16();
    return "class " + eventClass + ", event " + event + ", terminology " + std::to_string(id) + ", scope " +
           ZeroTerminated(value, reader.at);
}

std::string HandlingText(std::uint32_t handling) {
    const char* const names[] = {"not supported", "straight data"};
    return handling < std::size(names) ? names[handling] : "handling " + std::to_string(handling);
}

std::string CasesText(const Bytes& value) {
    const char* const names[] = {"flat, no selection",
                                 "flat, with selection",
                                 "floating selection",
                                 "editable transparency, no selection",
                                 "editable transparency, with selection",
                                 "protected transparency, no selection",
                                 "protected transparency, with selection"};
    ByteReader reader{&value};
    std::string text;
    for (std::size_t i = 0; reader.at + 4 <= value.size(); ++i) {
        const std::uint32_t in = reader.Take(1), out = reader.Take(1), flags = reader.Take(1);
        reader.Take(1);
        const std::string name = i < std::size(names) ? names[i] : "case " + std::to_string(i + 1);
        text +=
            Line(i == 0 ? "filter cases" : "", name + ": in " + HandlingText(in) + ", out " +
                                                   HandlingText(out) + ", flags " + std::to_string(flags));
    }
    return text;
}

std::string DescribeProperty(const std::string& key, const Bytes& value) {
    ByteReader reader{&value};
    if (key == "kind") return Line("kind", KindText(TakeCode(reader)));
    if (key == "name") return Line("menu item", "\"" + reader.TakePascalString() + "\"");
    if (key == "catg") return Line("submenu", "\"" + reader.TakePascalString() + "\"");
    if (key == "vers") {
        const std::uint32_t version = reader.Take32();
        return Line("interface", std::to_string(version >> 16) + "." + std::to_string(version & 0xffff));
    }
    if (key == "wx86") return Line("entry, 32 bits", ZeroTerminated(value));
    if (key == "8664") return Line("entry, 64 bits", ZeroTerminated(value));
    if (key == "hstm") return Line("scripting", TermsText(value));
    if (key == "mode") return Line("image modes", ModesText(value));
    if (key == "enbl") return Line("enabled", ZeroTerminated(value));
    if (key == "fici") return CasesText(value);
    if (value.size() == 4) return Line(key, Hex(reader.Take32()));
    return Line(key, std::to_string(value.size()) + " bytes");
}

}  // namespace

std::string DescribePropertyList(const Bytes& list) {
    ByteReader reader{&list};
    reader.Take16();
    reader.Take32();
    const std::uint32_t count = reader.Take32();
    std::string text;
    for (std::uint32_t i = 0; i < count; ++i) {
        const std::string vendor = TakeCode(reader), key = TakeCode(reader);
        reader.Take32();
        const std::string value = reader.TakeText(reader.Take32());
        text += DescribeProperty(key, Bytes(value.begin(), value.end()));
    }
    return text;
}

}  // namespace frond
