#include "bench/table.h"

#include <algorithm>
#include <sstream>

#include "bench/stages.h"
#include "engine/variants.h"

namespace bench {

namespace {

double Median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    const std::size_t half = values.size() / 2;
    return values.size() % 2 == 1 ? values[half] : (values[half - 1] + values[half]) / 2;
}

std::vector<std::string> Parts(const std::string& name) {
    std::vector<std::string> parts;
    std::istringstream in(name);
    for (std::string part; std::getline(in, part, '/');) parts.push_back(part);
    return parts;
}

int Place(const char* const* names, const std::string& name) {
    int place = 0;
    while (names[place] != nullptr && name != names[place]) ++place;
    return place;
}

std::string Text(const char* format, double value) {
    char text[64];
    std::snprintf(text, sizeof text, format, value);
    return text;
}

}  // namespace

bool TableReporter::ReportContext(const Context&) {
    return true;
}

void TableReporter::ReportRuns(const std::vector<Run>& runs) {
    for (const Run& run : runs) {
        if (run.error_occurred) {
            failed_ = true;
            GetErrorStream() << run.run_name.function_name << ": " << run.error_message << "\n";
            continue;
        }
        const auto counter = run.counters.find(kNanosecondsCounter);
        const std::vector<std::string> parts = Parts(run.run_name.function_name);
        if (run.run_type != Run::RT_Iteration || counter == run.counters.end() || parts.size() != 5) continue;

        const std::string shape = parts[1] + ", " + parts[2] + ", " + parts[3];
        if (rows_.find(shape) == rows_.end()) shapes_.push_back(shape);
        std::vector<Row>& rows = rows_[shape];
        auto row = std::find_if(rows.begin(), rows.end(),
                                [&](const Row& r) { return r.stage == parts[0] && r.variant == parts[4]; });
        if (row == rows.end()) row = rows.insert(rows.end(), {parts[0], parts[4], {}});
        row->nanoseconds.push_back(counter->second.value);
        GetErrorStream() << run.run_name.function_name << ": " << Text("%.2f", counter->second.value)
                         << " ns per pixel" << std::endl;
    }
}

void TableReporter::PrintShape(const std::string& shape, std::vector<Row>& rows) {
    // In the order of the lists of names.
    std::sort(rows.begin(), rows.end(), [](const Row& a, const Row& b) {
        const int stageA = Place(kStageNames, a.stage), stageB = Place(kStageNames, b.stage);
        return stageA != stageB
                   ? stageA < stageB
                   : Place(keying::kVariantNames, a.variant) < Place(keying::kVariantNames, b.variant);
    });
    std::ostream& out = GetOutputStream();
    out << "\n" << shape << "\n\n";
    out << "| Stage | Variant | Mpx/s | ns/px | Spread | Factor |\n|---|---|---:|---:|---|---:|\n";
    for (const Row& row : rows) {
        const double median = Median(row.nanoseconds);
        const auto ends = std::minmax_element(row.nanoseconds.begin(), row.nanoseconds.end());
        const auto scalar = std::find_if(rows.begin(), rows.end(), [&](const Row& r) {
            return r.stage == row.stage && r.variant == "scalar";
        });
        out << "| " << row.stage << " | " << row.variant << " | " << Text("%.1f", 1000 / median) << " | "
            << Text("%.2f", median) << " | " << Text("%.2f", *ends.first) << " to "
            << Text("%.2f", *ends.second) << " | "
            << (scalar == rows.end() ? "" : Text("%.1f", Median(scalar->nanoseconds) / median)) << " |\n";
    }
}

void TableReporter::Finalize() {
    for (const std::string& shape : shapes_) PrintShape(shape, rows_[shape]);
}

}  // namespace bench
