#include "OptionSet.h"

#include <CLI/CLI.hpp>

namespace qrxhid {

void OptionSet::addOption(const std::string& name, std::string& value, const std::string& help, const std::string& type)
{
    _app.add_option(name, value, help)->type_name(type);
}

void OptionSet::addOption(const std::string& name, std::optional<std::string>& value, const std::string& help,
                          const std::string& type)
{
    _app.add_option(name, value, help)->type_name(type);
}

void OptionSet::addOption(const std::string& name, std::vector<std::string>& values, const std::string& help,
                          const std::string& type)
{
    _app.add_option(name, values, help)->type_name(type);
}

void OptionSet::addRepeatedOption(const std::string& name, std::vector<std::string>& values, const std::string& help,
                                  const std::string& type)
{
    _app.add_option(name, values, help)
        ->type_name(type)
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
}

void OptionSet::addHiddenOption(const std::string& name, std::string& value)
{
    // A group without a name is not shown in help.
    constexpr const char* kHidden = "";
    _app.add_option(name, value)->group(kHidden);
}

void OptionSet::addFlag(const std::string& name, bool& value, const std::string& help)
{
    _app.add_flag(name, value, help)->disable_flag_override();
}

void OptionSet::addRequiredWord(const std::string& name, std::string& value, const std::string& help,
                                const std::string& type)
{
    _app.add_option(name, value, help)->type_name(type)->required();
}

void OptionSet::addRequiredWords(const std::string& name, std::vector<std::string>& values, const std::string& help,
                                 const std::string& type)
{
    _app.add_option(name, values, help)->type_name(type)->required();
}

} // namespace qrxhid
