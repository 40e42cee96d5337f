#include "notifications/ObserverFile.h"

#include <cerrno>
#include <system_error>

#include "common/Failure.h"
#include "common/JSONFields.h"
#include "install/Disk.h"
#include "nuocore/JSON.h"
#include "processes/KernelText.h"
#include "service/Notes.h"

namespace orvane::plexa::zarnd {

using nuocore::serialization::MakeValue;
using nuocore::serialization::VariantArray;
using nuocore::serialization::VariantObject;
using nuocore::serialization::VariantValue;

namespace {

constexpr std::size_t kMaxFileBytes = std::size_t{64} << 20U;  // more than the most observers take

// Of the running system; empty when it doesn't say.
std::string BootId() { return KernelText("/proc/sys/kernel/random/boot_id"); }

VariantObject ObjectOf(const Observers::Table::value_type& inEntry) {
    VariantArray observers;
    for (const Observer& observer : inEntry.second.mObservers) {
        VariantObject object;
        object["type"] = TextValue(observer.mType);
        object["sub-type"] = TextValue(observer.mSubType);
        object["observer-namespace"] = TextValue(observer.mNamespace);
        observers.push_back(MakeValue(object));
    }
    VariantObject process;
    process["app-id"] = TextValue(inEntry.first.first);
    process["process"] = MakeValue(std::int64_t{inEntry.first.second});
    process["start"] = SizeValue(inEntry.second.mStart);
    process["observers"] = MakeValue(observers);
    return process;
}

Observers::Table TableOf(const VariantObject& inContent) {
    Observers::Table table;
    for (const auto& entry : As<VariantArray>(FieldAt(inContent, "processes"))) {
        const auto& process = As<VariantObject>(*entry);
        Observers::OfProcess& kept =
            table[{TextAt(process, "app-id"),
                   static_cast<std::int32_t>(As<std::int64_t>(FieldAt(process, "process")))}];
        kept.mStart = SizeAt(process, "start");
        for (const auto& value : As<VariantArray>(FieldAt(process, "observers"))) {
            const auto& observer = As<VariantObject>(*value);
            kept.mObservers.push_back({TextAt(observer, "type"), TextAt(observer, "sub-type"),
                                       TextAt(observer, "observer-namespace")});
        }
    }
    return table;
}

}  // namespace

void ObserverFile::Save(const Observers::Table& inTable) const {
    VariantArray processes;
    for (const auto& entry : inTable) processes.push_back(MakeValue(ObjectOf(entry)));
    VariantObject content;
    content["boot"] = TextValue(BootId());
    content["processes"] = MakeValue(processes);

    MakeFolders(mPath.parent_path());
    std::filesystem::path next = mPath;
    next += ".next";
    WriteFile(next, std::string(nuocore::serialization::GetJSONUTF8String(VariantValue(content), false)));
    std::error_code error;
    std::filesystem::rename(next, mPath, error);
    if (error) throw SystemFailure("cannot replace " + mPath.string(), error.value());
}

Observers::Table ObserverFile::Load() const {
    const auto text = ReadFile(mPath, kMaxFileBytes);
    if (!text) return {};
    try {
        const auto value = nuocore::serialization::ParseJSON(*text);
        const auto& content = As<VariantObject>(*value);
        if (TextAt(content, "boot") != BootId()) return {};
        return TableOf(content);
    } catch (const std::exception& error) {  // not JSON, or other kinds of values
        Note(mPath.string() + " is left aside: " + error.what());
        return {};
    }
}

}  // namespace orvane::plexa::zarnd
