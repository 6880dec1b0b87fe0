#include "tool/commands/query.h"

#include "text/value_syntax.h"

std::vector<ParameterValue> ParameterValues(const std::vector<Marker>& markers,
                                            const Session& session)
{
    const auto form = session.WideParameters() ? TextForm::kUnits : TextForm::kBytes;
    std::vector<ParameterValue> values;
    for (const auto& [word, is_file] : markers) {
        values.push_back(is_file ? ParameterValue(FileValue{word})
                                 : ParameterValue(ValueOf(word, form)));
    }
    return values;
}

bool RunQuery(const Session& session, const std::string& sql, const std::vector<Marker>& markers,
              ResultSink& sink, Reporter& reporter)
{
    Statement statement(session, sql, reporter);
    statement.Bind(ParameterValues(markers, session));
    return !statement.Run(sink).has_unreadable_values;
}
