// The parser of action files: any bytes are an action or a Failure of one line. An action that was read,
// written and read again is the same.
#include <cstdlib>
#include <vector>

#include "frond/command.h"
#include "frond/parameters.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    try {
        frond::ParameterValues values = frond::ParseAction({bytes, bytes + size}, "action.json");
        for (std::size_t i = 0; i < values.size(); ++i) {
            if (!values[i]) values[i] = filter::kParameters[i].defaultValue;
        }
        const std::string text = frond::FormatAction(values);
        if (frond::ParseAction({text.begin(), text.end()}, "action.json") != values) std::abort();
    } catch (const frond::Failure& failure) {
        const std::string line = failure.what();
        if (failure.code != frond::kBadUsage || line.find("action.json: ") != 0) std::abort();
        if (line.find('\n') != std::string::npos) std::abort();
    }
    return 0;
}
