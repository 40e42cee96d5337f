#include "Holdings.h"

#include <PlexaMessage5/BrokerStatus.h>
#include <malloc.h>

#include <boost/json.hpp>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "MembersFile.h"
#include "wire/RuntimeDirectory.h"

namespace campaign::deaths {

namespace {

namespace api = orvane::plexa::api5;
namespace wire = orvane::plexa::wire;

boost::json::value Status() {
    std::string text;
    if (api::QueryBrokerStatus(10'000, text) != api::kPlexaMessageErrorCode_None)
        throw std::runtime_error("the broker tells no status: " + text);
    return boost::json::parse(text);
}

std::size_t Descriptors(const std::string& inProcess) {
    return static_cast<std::size_t>(
        std::distance(std::filesystem::directory_iterator("/proc/" + inProcess + "/fd"), {}));
}

/// Of a copy, because the broker holds the file's lock.
std::size_t Records(const std::filesystem::path& inRuntimeDirectory, const std::filesystem::path& inScratch) {
    const std::filesystem::path copy = inScratch / wire::kMembersName;
    std::filesystem::copy_file(inRuntimeDirectory / wire::kMembersName, copy,
                               std::filesystem::copy_options::overwrite_existing);
    const auto file = orvane::plexa::broker::MembersFile::Acquire(copy, wire::Limits().members);
    const std::size_t records = file ? file->Recorded().size() : 0;
    std::filesystem::remove(copy);
    return records;
}

std::size_t Size(const boost::json::value& inValue) { return inValue.to_number<std::size_t>(); }

}  // namespace

Holdings HoldingsOf(pid_t inBroker, const std::filesystem::path& inRuntimeDirectory,
                    const std::filesystem::path& inScratch) {
    Holdings holdings;
    // Before the question below, whose connection the broker may take a moment to give up.
    holdings.mDescriptors = Descriptors(std::to_string(inBroker));
    const boost::json::value status = Status();
    holdings.mConnections = Size(status.at("connections"));
    holdings.mMembers = Size(status.at("members_total"));
    holdings.mBufferBytes = Size(status.at_pointer("/memory/in_use"));
    for (const boost::json::value& member : status.at("members").as_array()) {
        holdings.mAway += member.at("state") == "away" ? 1 : 0;
        holdings.mQueuedBytes += Size(member.at("queued_bytes"));
        holdings.mBusyLanes += member.at("lanes").as_array().size();
    }
    holdings.mRecords = Records(inRuntimeDirectory, inScratch);
    holdings.mOwnDescriptors = Descriptors("self");
    return holdings;
}

std::string Text(const Holdings& inHoldings) {
    std::ostringstream text;
    text << "broker: " << inHoldings.mDescriptors << " descriptors, " << inHoldings.mConnections
         << " connections, " << inHoldings.mMembers << " members (" << inHoldings.mAway << " away), "
         << inHoldings.mQueuedBytes << " bytes queued, " << inHoldings.mBusyLanes << " busy lanes, "
         << inHoldings.mBufferBytes << " bytes of buffers, " << inHoldings.mRecords
         << " records; observer: " << inHoldings.mOwnDescriptors << " descriptors";
    return text.str();
}

std::size_t FaultyConnections() { return Size(Status().at_pointer("/totals/faulty")); }

std::size_t HeapOf(pid_t inProcess) {
    std::ifstream maps("/proc/" + std::to_string(inProcess) + "/smaps");
    bool heap = false;
    for (std::string line; std::getline(maps, line);) {
        if (line.find("[heap]") != std::string::npos) heap = true;
        std::istringstream words(line);
        std::string word;
        std::size_t kibibytes = 0;
        if (heap && words >> word && word == "Rss:" && words >> kibibytes) return kibibytes << 10U;
    }
    throw std::runtime_error("process " + std::to_string(inProcess) + " has no heap");
}

std::size_t AllocatedHere() {
    const struct mallinfo2 information = ::mallinfo2();
    return information.uordblks + information.hblkhd;
}

}  // namespace campaign::deaths
