#include "frond/module_description.h"

namespace frond {

namespace {

std::string Quoted(const std::string& text) {
    return "\"" + text + "\"";
}

std::string TypeText(const std::string& code) {
    if (code == "long") return "whole number";
    if (code == "bool") return "flag";
    return code;
}

std::string Padded(std::string text, std::size_t width) {
    if (text.size() < width) text.resize(width, ' ');
    return text;
}

std::string DescribeEvent(ByteReader& reader) {
    const std::string name = reader.TakePascalString(), description = reader.TakePascalString();
    const std::string eventClass = TakeCode(reader), id = TakeCode(reader);
    std::string text =
        "  event " + Quoted(name) + " (" + description + "), class " + eventClass + ", id " + id + "\n";
    const std::string replyType = TakeCode(reader);
    reader.TakePascalString();
    reader.Take16();
    const std::string directType = TakeCode(reader);
    reader.TakePascalString();
    reader.Take16();
    text += "    reply " + replyType + ", acts on " + directType + "\n";
    const std::uint32_t parameters = reader.Take16();
    for (std::uint32_t i = 0; i < parameters; ++i) {
        const std::string parameter = reader.TakePascalString(), key = TakeCode(reader),
                          type = TakeCode(reader);
        const std::string meaning = reader.TakePascalString();
        reader.Take16();
        text += "    " + Padded(parameter, 20) + key + "  " + Padded(TypeText(type), 14) + meaning + "\n";
    }
    return text;
}

}  // namespace

std::string DescribeTerminology(const Bytes& table) {
    ByteReader reader{&table};
    reader.at = 4;  // two header words
    reader.Take16();
    reader.Take16();
    const std::uint32_t suites = reader.Take16();
    std::string text;
    for (std::uint32_t suite = 0; suite < suites; ++suite) {
        const std::string name = reader.TakePascalString(), description = reader.TakePascalString(),
                          id = TakeCode(reader);
        reader.Take16();
        reader.Take16();
        text += "  suite " + Quoted(name) + " (" + description + "), id " + id + "\n";
        const std::uint32_t events = reader.Take16();
        for (std::uint32_t i = 0; i < events; ++i) text += DescribeEvent(reader);
        // Classes, comparison operators and enumerations are not described.
        for (int kind = 0; kind < 3; ++kind) {
            if (reader.Take16() != 0) return text + "  (further entries are not shown)\n";
        }
    }
    return text;
}

}  // namespace frond
