#include "tool/completion.h"

#include <fmt/format.h>

namespace {

std::string OptionNames(const CLI::App& app)
{
    std::string names;
    for (const CLI::Option* option : app.get_options()) {
        const bool is_hidden = option->get_group().empty();
        for (const std::string& name : option->get_lnames()) {
            names += is_hidden ? "" : " --" + name;
        }
    }
    return names;
}

// The script, apart from what the parser knows.
constexpr char kHead[] = R"bash(# Made by "orvelgw --completion".
_orvelgw() {
    local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} subcommand= i
    local words=')bash";

constexpr char kLoop[] = R"bash('
    for ((i = 1; i < COMP_CWORD; i++)); do
        [ -z "$subcommand" ] || break
        case ${COMP_WORDS[i]} in
)bash";

constexpr char kTail[] = R"bash(        esac
    done
    if [ "$subcommand" = call ] && [[ $previous =~ ^(call|then|--hex)$ ]]; then
        words+=" $("${COMP_WORDS[0]}" call --list 2>/dev/null | cut -d ' ' -f 1)"
    fi
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$word")
    [ ${#COMPREPLY[@]} -gt 0 ] || mapfile -t COMPREPLY < <(compgen -f -- "$word")
}
complete -o filenames -F _orvelgw orvelgw
)bash";

}  // namespace

std::string BashCompletion(const CLI::App& app)
{
    std::string words = OptionNames(app);
    std::string cases;
    for (const CLI::App* subcommand : app.get_subcommands([](const CLI::App*) { return true; })) {
        const std::string name = subcommand->get_name();
        words += " " + name;
        cases += fmt::format(
            "            {0}) subcommand={0} words='{1}' ;;\n", name,
            OptionNames(*subcommand) + (subcommand->get_fallthrough() ? OptionNames(app) : ""));
    }
    return kHead + words + kLoop + cases + kTail;
}
