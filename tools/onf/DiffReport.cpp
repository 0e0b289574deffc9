#include "DiffReport.h"

#include "OnfToolFiles.h"

#include <cmath>

namespace onf_tool {

DiffSection::DiffSection(const std::string& label, const std::string& unit,
                         const DiffListing& listing)
    : m_Label(label), m_Unit(unit), m_Listing(listing) {}

void DiffSection::OnlyIn(char side, size_t units) {
    m_OnlyIn = side;
    m_Units = units;
}

void DiffSection::Incomparable(const std::string& reason) {
    m_Reason = reason;
}

void DiffSection::UnitOnlyIn(char side, const std::string& unit) {
    ++m_Units;
    ++m_Differing;
    ++(side == 'A' ? m_OnlyInA : m_OnlyInB);
    Detail detail;
    detail.at = unit;
    detail.onlyIn = side;
    AddDetail(detail);
}

void DiffSection::BeginUnit() {
    m_UnitDiffers = false;
}

void DiffSection::EndUnit() {
    ++m_Units;
    m_Differing += m_UnitDiffers ? 1 : 0;
}

void DiffSection::ItemDiffers(const std::string& at, const std::string& a, const std::string& b) {
    m_UnitDiffers = true;
    AddDetail({at, a, b, 0});
}

void DiffSection::RealsDiffer(const std::string& at, double a, double b, const std::string& textA,
                              const std::string& textB) {
    ItemDiffers(at, textA, textB);
    const double absolute = std::fabs(a - b);
    const double larger = std::max(std::fabs(a), std::fabs(b));
    // A NaN against a number is the largest difference there is.
    const double relative = std::isnan(absolute) ? INFINITY : absolute / larger;
    if (std::isnan(absolute) || absolute > m_Absolute.value) {
        m_Absolute = {std::isnan(absolute) ? INFINITY : absolute, at};
    }
    if (relative > m_Relative.value) {
        m_Relative = {relative, at};
    }
}

void DiffSection::AddToNorm(double difference) {
    m_HasNorm = true;
    m_SquareSum += difference * difference;
}

size_t DiffSection::GetNumDiffering() const {
    return m_OnlyIn != 0 ? m_Units : (!m_Reason.empty() ? 1 : m_Differing);
}

void DiffSection::AddDetail(const Detail& detail) {
    if (!m_Listing.list) {
        return;
    }
    if (m_Listing.limit > 0 && m_Details.size() >= m_Listing.limit) {
        ++m_NumNotShown;
        return;
    }
    m_Details.push_back(detail);
}

std::string DiffSection::Units(size_t count) const {
    return std::to_string(count) + " " + m_Unit + (count == 1 ? "" : "s");
}

namespace {

// Six significant digits: enough to judge a difference by, short enough to read.
std::string Short(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.6g", value);
    return text;
}

} // namespace

std::string DiffSection::SummaryText() const {
    if (m_OnlyIn != 0) {
        return std::string("only in ") + m_OnlyIn + " (" + Units(m_Units) + ")";
    }
    if (!m_Reason.empty()) {
        return m_Reason;
    }
    std::string text = std::to_string(m_Differing) + " of " + Units(m_Units) +
                       (m_Differing == 1 ? " differs" : " differ");
    if (m_OnlyInA + m_OnlyInB > 0) {
        text += " (" + std::to_string(m_OnlyInA) + " only in A, " + std::to_string(m_OnlyInB) +
                " only in B)";
    }
    if (m_Absolute.value >= 0) {
        text += "; largest absolute difference " + Short(m_Absolute.value) + " at " +
                m_Absolute.at + "; largest relative difference " + Short(m_Relative.value) +
                " at " + m_Relative.at;
    }
    if (m_HasNorm) {
        text += "; L2 norm of the difference " + Short(std::sqrt(m_SquareSum));
    }
    return text;
}

void DiffSection::Print(FILE* out) const {
    for (const Detail& detail : m_Details) {
        if (detail.onlyIn != 0) {
            std::fprintf(out, "%s: %s only in %c\n", m_Label.c_str(), detail.at.c_str(),
                         detail.onlyIn);
        } else {
            std::fprintf(out, "%s: %s: %s vs %s\n", m_Label.c_str(), detail.at.c_str(),
                         detail.a.c_str(), detail.b.c_str());
        }
    }
    if (m_NumNotShown > 0) {
        std::fprintf(out, "%s: %zu more differences not shown\n", m_Label.c_str(), m_NumNotShown);
    }
    std::fprintf(out, "%s: %s\n", m_Label.c_str(), SummaryText().c_str());
}

namespace {

std::string JsonExtreme(const char* key, double value, const std::string& at) {
    return std::string(",\n      ") + JsonString(key) + ": {\"value\": " + JsonNumber(value) +
           ", \"at\": " + JsonString(at) + "}";
}

} // namespace

void DiffSection::PrintJson(FILE* out) const {
    std::string text = "    {\"label\": " + JsonString(m_Label) +
                       ", \"block\": " + std::to_string(block) + ", \"name\": " + JsonString(name);
    if (!descriptor.empty()) {
        text += ", \"descriptor\": " + JsonString(descriptor);
    }
    if (!title.empty()) {
        text += ", \"title\": " + JsonString(title) +
                ", \"iteration_a\": " + (iterationA >= 0 ? std::to_string(iterationA) : "null") +
                ", \"iteration_b\": " + (iterationB >= 0 ? std::to_string(iterationB) : "null");
    }
    text += ",\n      \"presence\": " +
            JsonString(m_OnlyIn == 'A'   ? "only in A"
                       : m_OnlyIn == 'B' ? "only in B"
                                         : "both") +
            ", \"unit\": " + JsonString(m_Unit) + ", \"count\": " + std::to_string(m_Units) +
            ", \"differing\": " + std::to_string(GetNumDiffering()) +
            ", \"only_in_a\": " + std::to_string(m_OnlyInA) +
            ", \"only_in_b\": " + std::to_string(m_OnlyInB);
    if (!m_Reason.empty()) {
        text += ", \"reason\": " + JsonString(m_Reason);
    }
    if (m_Absolute.value >= 0) {
        text += JsonExtreme("largest_absolute", m_Absolute.value, m_Absolute.at) +
                JsonExtreme("largest_relative", m_Relative.value, m_Relative.at);
    }
    if (m_HasNorm) {
        text += ",\n      \"l2_norm\": " + JsonNumber(std::sqrt(m_SquareSum));
    }
    if (m_Listing.list) {
        text += ",\n      \"differences\": [";
        for (size_t i = 0; i < m_Details.size(); ++i) {
            const Detail& d = m_Details[i];
            text += std::string(i > 0 ? "," : "") + "\n        {\"at\": " + JsonString(d.at) +
                    (d.onlyIn != 0
                         ? std::string(", \"only_in\": \"") + d.onlyIn + "\"}"
                         : ", \"a\": " + JsonString(d.a) + ", \"b\": " + JsonString(d.b) + "}");
        }
        text += m_Details.empty() ? "]" : "\n      ]";
        text += ", \"not_shown\": " + std::to_string(m_NumNotShown);
    }
    std::fputs((text + "}").c_str(), out);
}

std::string JsonNumber(double value) {
    return std::isfinite(value) ? RealText(value) : "null";
}

} // namespace onf_tool
