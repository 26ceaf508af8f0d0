// websecctl protection: the five switches.
#include <array>
#include <memory>
#include <string>

#include "ctl/commands.h"
#include "ctl/daemon_process.h"
#include "ctl/output.h"
#include "ctl/settings_store.h"

namespace {

constexpr std::array<const char*, SWITCH_COUNT> SWITCH_MEANINGS = {
    "harmful sites are blocked", "phishing sites are blocked", "sites of blocked categories are blocked",
    "the user's block list applies", "blocked requests are reported"};

void ShowSwitches();
void SetSwitch(int nSwitch, const std::string& state);

}  // namespace

void AddProtectionCommand(CLI::App& app) {
    CLI::App* pGroup = app.add_subcommand("protection", "Show the protections, switch one on or off");
    pGroup->footer("Example: websecctl protection phishing on");
    pGroup->require_subcommand(0, 1);
    pGroup->add_subcommand("list", "Show all protections")->footer("Example: websecctl protection list");
    for (int nSwitch = 0; nSwitch < SWITCH_COUNT; ++nSwitch) {
        const std::string name = SwitchName(nSwitch);
        CLI::App* pSwitch = pGroup->add_subcommand(name, std::string("On: ") + SWITCH_MEANINGS[nSwitch]);
        pSwitch->footer("Example: websecctl protection " + name + " on");
        const auto pState = std::make_shared<std::string>();
        pSwitch->add_option("STATE", *pState, "on or off")->required()->check(CLI::IsMember({"on", "off"}));
        pSwitch->final_callback([nSwitch, pState] { SetSwitch(nSwitch, *pState); });
    }
    pGroup->final_callback([pGroup] {
        if (pGroup->get_subcommands().empty() || pGroup->got_subcommand("list")) ShowSwitches();
    });
}

namespace {

void ShowSwitches() {
    SettingsStore store(STORE_OPEN_EXISTING);
    Json document = Json::object();
    std::vector<std::vector<std::string>> rows;
    for (int nSwitch = 0; nSwitch < SWITCH_COUNT; ++nSwitch) {
        const bool bOn = store.IsOn(nSwitch);
        document[SwitchName(nSwitch)] = bOn;
        rows.push_back({SwitchName(nSwitch), bOn ? "on" : "off", SWITCH_MEANINGS[nSwitch]});
    }
    PrintAnswer(document, AlignColumns(rows));
}

void SetSwitch(int nSwitch, const std::string& state) {
    SettingsStore(STORE_CREATE).SetSwitch(nSwitch, state == "on");
    PrintChange({{SwitchName(nSwitch), state == "on"}}, std::string(SwitchName(nSwitch)) + " is " + state);
}

}  // namespace
