#include "catalogue/Catalogue.h"

#include <algorithm>
#include <set>

namespace orvane::plexa::zarnd {

namespace {

bool Matches(std::string_view inPattern, std::string_view inVersion) {
    if (inPattern == "*") return true;
    if (!inPattern.ends_with(".*")) return inPattern == inVersion;
    const std::string_view stem = inPattern.substr(0, inPattern.size() - 2);
    return inVersion.starts_with(stem) && (inVersion.size() == stem.size() || inVersion[stem.size()] == '.');
}

void Visit(const Catalogue& inCatalogue, const std::string& inModule, std::set<std::string>& ioSeen,
           std::vector<const ModuleSpec*>& ioOrder) {
    if (!ioSeen.insert(inModule).second) return;
    const ModuleSpec& module = inCatalogue.mModules.at(inModule);
    for (const std::string& needed : module.mNeeds) Visit(inCatalogue, needed, ioSeen, ioOrder);
    ioOrder.push_back(&module);
}

}  // namespace

bool FitsVersion(const ModuleSpec& inModule, std::string_view inVersion) {
    return std::any_of(inModule.mFits.begin(), inModule.mFits.end(),
                       [&](const std::string& inPattern) { return Matches(inPattern, inVersion); });
}

std::vector<const ModuleSpec*> InstallOrder(const Catalogue& inCatalogue, const std::string& inModule) {
    std::set<std::string> seen;
    std::vector<const ModuleSpec*> order;
    Visit(inCatalogue, inModule, seen, order);
    return order;
}

}  // namespace orvane::plexa::zarnd
