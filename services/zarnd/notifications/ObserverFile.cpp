#include "notifications/ObserverFile.h"

#include <boost/any.hpp>
#include <cerrno>
#include <charconv>
#include <fstream>
#include <iterator>
#include <system_error>

#include "common/Failure.h"
#include "install/Disk.h"
#include "nuocore/JSON.h"
#include "service/Notes.h"

namespace orvane::plexa::zarnd {

using nuocore::UTF8String;
using nuocore::serialization::MakeValue;
using nuocore::serialization::VariantArray;
using nuocore::serialization::VariantObject;
using nuocore::serialization::VariantValue;

namespace {

constexpr std::size_t kMaxFileBytes = std::size_t{64} << 20U;  // more than the most observers take

auto Text(std::string_view inText) { return MakeValue(UTF8String(inText)); }

// What the kernel tells in a file, which has no size; empty when there is no such file.
std::string KernelText(const std::string& inPath) {
    std::ifstream file(inPath, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// Of the running system; empty when it doesn't say.
std::string BootId() { return KernelText("/proc/sys/kernel/random/boot_id"); }

const VariantValue& At(const VariantObject& inObject, const char* inKey) {
    const auto found = inObject.find(UTF8String(inKey));
    if (found == inObject.end() || !found->second) throw boost::bad_any_cast();
    return *found->second;
}

template <typename T>
T Get(const VariantValue& inValue) {
    return boost::any_cast<T>(inValue);
}

std::string TextOf(const VariantObject& inObject, const char* inKey) {
    return std::string(Get<UTF8String>(At(inObject, inKey)));
}

VariantObject ObjectOf(const Observers::Table::value_type& inEntry) {
    VariantArray observers;
    for (const Observer& observer : inEntry.second.mObservers) {
        VariantObject object;
        object["type"] = Text(observer.mType);
        object["sub-type"] = Text(observer.mSubType);
        object["observer-namespace"] = Text(observer.mNamespace);
        observers.push_back(MakeValue(object));
    }
    VariantObject process;
    process["app-id"] = Text(inEntry.first.first);
    process["process"] = MakeValue(std::int64_t{inEntry.first.second});
    process["start"] = MakeValue(static_cast<std::int64_t>(inEntry.second.mStart));
    process["observers"] = MakeValue(observers);
    return process;
}

Observers::Table TableOf(const VariantObject& inContent) {
    Observers::Table table;
    for (const auto& entry : Get<VariantArray>(At(inContent, "processes"))) {
        const auto process = Get<VariantObject>(*entry);
        Observers::OfProcess& kept = table[{
            TextOf(process, "app-id"), static_cast<std::int32_t>(Get<std::int64_t>(At(process, "process")))}];
        kept.mStart = static_cast<std::uint64_t>(Get<std::int64_t>(At(process, "start")));
        for (const auto& value : Get<VariantArray>(At(process, "observers"))) {
            const auto observer = Get<VariantObject>(*value);
            kept.mObservers.push_back({TextOf(observer, "type"), TextOf(observer, "sub-type"),
                                       TextOf(observer, "observer-namespace")});
        }
    }
    return table;
}

}  // namespace

std::uint64_t StartOfSystemProcess(std::int32_t inProcessId) {
    constexpr int kFieldsBefore = 20;  // between the name and the time of the start
    const std::string stat = KernelText("/proc/" + std::to_string(inProcessId) + "/stat");
    // The name stands in parentheses and may have anything in it.
    std::size_t place = stat.rfind(')');
    for (int field = 0; field < kFieldsBefore && place != std::string::npos; ++field) {
        place = stat.find(' ', place + 1);
    }
    if (place == std::string::npos) return 0;
    std::uint64_t start = 0;
    std::from_chars(stat.data() + place + 1, stat.data() + stat.size(), start);
    return start;
}

void ObserverFile::Save(const Observers::Table& inTable) const {
    VariantArray processes;
    for (const auto& entry : inTable) processes.push_back(MakeValue(ObjectOf(entry)));
    VariantObject content;
    content["boot"] = Text(BootId());
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
        const auto content = Get<VariantObject>(*nuocore::serialization::ParseJSON(*text));
        if (TextOf(content, "boot") != BootId()) return {};
        return TableOf(content);
    } catch (const std::exception& error) {  // not JSON, or other kinds of values
        Note(mPath.string() + " is left aside: " + error.what());
        return {};
    }
}

}  // namespace orvane::plexa::zarnd
