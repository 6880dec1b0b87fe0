#include "doctor/DoctorReport.h"

#include <algorithm>

#include "drivers/ConnectionString.h"
#include "text/terminal_text.h"

namespace {

constexpr std::size_t kSubjectWidth = 16;
constexpr std::size_t kVerdictWidth = 13;

}  // namespace

std::string DoctorReport::Padded(std::string_view text, std::size_t width)
{
    const std::size_t taken = DisplayWidth(text);
    return std::string(text) + std::string(taken < width ? width - taken : 1, ' ');
}

void DoctorReport::Text(const std::string& line) const
{
    std::fprintf(out_, "%s\n", Printable(WithoutSecrets(line)).c_str());
    std::fflush(out_);
}

void DoctorReport::Line(std::string_view subject, std::string_view verdict,
                        std::string_view what) const
{
    Text((Padded(subject, kSubjectWidth) + Padded(verdict, kVerdictWidth)).append(what));
}

void DoctorReport::Line(std::string_view subject, std::string_view verdict,
                        const std::vector<std::string>& diagnostics) const
{
    bool is_first = true;
    for (const std::string_view line : diagnostics) {
        const auto text = line.substr(std::min(line.find_first_not_of(' '), line.size()));
        if (is_first) {
            Line(subject, verdict, text);
        } else {
            More(text);
        }
        is_first = false;
    }
}

void DoctorReport::More(std::string_view what) const
{
    Text(std::string(kSubjectWidth + kVerdictWidth, ' ').append(what));
}

void DoctorReport::Advise(std::string_view what) const
{
    Text(std::string(kSubjectWidth, ' ').append("-> ").append(what));
}

void DoctorReport::AdviseOnTable(std::string_view what) const
{
    Text(std::string("  -> ").append(what));
}
