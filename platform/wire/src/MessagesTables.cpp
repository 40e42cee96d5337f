// Kinds that carry a table: rare, extensible, verified before anything is read.
#include <algorithm>
#include <cstring>
#include <string_view>
#include <vector>

#include "wire/Messages.h"

namespace orvane::plexa::wire {

namespace {

namespace fb = flatbuffers;
using TypeList = fb::Vector<fb::Offset<fb::String>>;

constexpr fb::uoffset_t kMaxDepth = 4;
constexpr fb::uoffset_t kMaxTables = 4;

template <typename Table>
void WriteTable(OutputQueue& outQueue, BufferPool& inPool, FrameKind inKind, fb::FlatBufferBuilder& ioBuilder,
                fb::Offset<Table> inRoot) {
    ioBuilder.Finish(inRoot);
    std::byte* frame = outQueue.AppendControl(inPool, inKind, ioBuilder.GetSize());
    std::memcpy(frame + kHeaderBytes, ioBuilder.GetBufferPointer(), ioBuilder.GetSize());
}

template <typename Table>
const Table* ReadTable(const Frame& inFrame) {
    const auto payload = inFrame.Payload();
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(payload.data());
    fb::Verifier verifier(bytes, payload.size(), kMaxDepth, kMaxTables);
    return verifier.VerifyBuffer<Table>(nullptr) ? fb::GetRoot<Table>(bytes) : nullptr;
}

std::string_view View(const fb::String* inText) {
    return inText == nullptr ? std::string_view{} : std::string_view{inText->c_str(), inText->size()};
}

fb::Offset<TypeList> WriteTypes(fb::FlatBufferBuilder& ioBuilder, const Interest& inInterest) {
    if (!inInterest) {
        return {};
    }
    std::vector<fb::Offset<fb::String>> types;
    types.reserve(inInterest->size());
    for (const std::string& type : *inInterest) {
        types.push_back(ioBuilder.CreateString(type));
    }
    return ioBuilder.CreateVector(types);
}

WireError ReadTypes(const TypeList* inTypes, const Limits& inLimits, Interest& outInterest) {
    outInterest.reset();
    if (inTypes == nullptr) {
        return WireError::kNone;
    }
    if (inTypes->size() > inLimits.maxInterestTypes) {
        return WireError::kBadInterest;
    }
    std::vector<std::string> types;
    types.reserve(inTypes->size());
    for (const fb::String* type : *inTypes) {
        if (type->size() > inLimits.maxTypeText) {
            return WireError::kBadInterest;
        }
        types.emplace_back(View(type));
    }
    outInterest = std::move(types);
    return WireError::kNone;
}

WireError ReadAppId(const fb::String* inText, const Limits& inLimits, std::string& outAppId) {
    const std::string_view text = View(inText);
    if (text.empty() || text.size() > inLimits.maxAppId || text.find('\0') != std::string_view::npos) {
        return WireError::kBadAppId;
    }
    outAppId = text;
    return WireError::kNone;
}

}  // namespace

std::uint16_t CommonVersion(const Hello& inHello) noexcept {
    const std::uint16_t version = std::min(inHello.highestVersion, kHighestVersion);
    return version >= kLowestVersion && version >= inHello.lowestVersion ? version : std::uint16_t{0};
}

void Write(OutputQueue& outQueue, BufferPool& inPool, const Hello& inHello) {
    fb::FlatBufferBuilder builder;
    WriteTable(outQueue, inPool, FrameKind::Hello, builder,
               schema::CreateHelloTable(builder, inHello.magic, inHello.lowestVersion, inHello.highestVersion,
                                        inHello.features));
}

void Write(OutputQueue& outQueue, BufferPool& inPool, const Welcome& inWelcome) {
    fb::FlatBufferBuilder builder;
    WriteTable(outQueue, inPool, FrameKind::Welcome, builder,
               schema::CreateWelcomeTable(builder, inWelcome.version, inWelcome.features,
                                          inWelcome.maxPayload, inWelcome.firstWindow));
}

void Write(OutputQueue& outQueue, BufferPool& inPool, const Refusal& inRefusal) {
    fb::FlatBufferBuilder builder;
    const auto text = builder.CreateString(inRefusal.text);
    WriteTable(outQueue, inPool, FrameKind::Refuse, builder,
               schema::CreateRefuseTable(builder, inRefusal.code, text));
}

void Write(OutputQueue& outQueue, BufferPool& inPool, const Join& inJoin) {
    fb::FlatBufferBuilder builder;
    const auto appId = builder.CreateString(inJoin.appId);
    const auto types = WriteTypes(builder, inJoin.interest);
    const schema::NonceBytes nonce(inJoin.nonce[0], inJoin.nonce[1]);
    WriteTable(outQueue, inPool, FrameKind::Join, builder,
               schema::CreateJoinTable(builder, appId, inJoin.member, &nonce, inJoin.receives, types,
                                       inJoin.nextLive, inJoin.carriedFrom));
}

void Write(OutputQueue& outQueue, BufferPool& inPool, const PeerNotice& inPeer) {
    fb::FlatBufferBuilder builder;
    const auto appId = builder.CreateString(inPeer.endPoint.appId);
    WriteTable(
        outQueue, inPool, FrameKind::Peer, builder,
        schema::CreatePeerTable(builder, inPeer.member, inPeer.change, inPeer.reason, inPeer.slot, appId,
                                inPeer.endPoint.instance, inPeer.endPoint.processId, inPeer.receives,
                                inPeer.lane, inPeer.sendFrom, inPeer.receiveFrom, inPeer.withdrawn));
}

void WriteInterest(OutputQueue& outQueue, BufferPool& inPool, const Interest& inInterest) {
    fb::FlatBufferBuilder builder;
    const auto types = WriteTypes(builder, inInterest);
    WriteTable(outQueue, inPool, FrameKind::Interest, builder, schema::CreateInterestTable(builder, types));
}

WireError Read(const Frame& inFrame, Hello& outHello) {
    const auto* table = ReadTable<schema::HelloTable>(inFrame);
    if (table == nullptr) {
        return WireError::kBadTable;
    }
    if (table->magic() != kMagic) {
        return WireError::kBadMagic;
    }
    outHello = {table->magic(), table->lowest_version(), table->highest_version(), table->features()};
    return WireError::kNone;
}

WireError Read(const Frame& inFrame, Welcome& outWelcome) {
    const auto* table = ReadTable<schema::WelcomeTable>(inFrame);
    if (table == nullptr) {
        return WireError::kBadTable;
    }
    if (table->version() < kLowestVersion || table->version() > kHighestVersion) {
        return WireError::kNoCommonVersion;
    }
    outWelcome = {table->version(), table->features(), table->max_payload(), table->first_window()};
    return WireError::kNone;
}

WireError Read(const Frame& inFrame, Refusal& outRefusal) {
    const auto* table = ReadTable<schema::RefuseTable>(inFrame);
    if (table == nullptr) {
        return WireError::kBadTable;
    }
    outRefusal = {table->code(), std::string(View(table->text()))};
    return WireError::kNone;
}

WireError Read(const Frame& inFrame, const Limits& inLimits, Join& outJoin) {
    const auto* table = ReadTable<schema::JoinTable>(inFrame);
    if (table == nullptr || table->nonce() == nullptr) {
        return WireError::kBadTable;
    }
    if (table->carried_from() == 0 || table->carried_from() > table->next_live() ||
        table->next_live() > kMaxSequence) {
        return WireError::kBadSequence;
    }
    outJoin.member = table->member();
    outJoin.nonce = {table->nonce()->low(), table->nonce()->high()};
    outJoin.receives = table->receives();
    outJoin.nextLive = table->next_live();
    outJoin.carriedFrom = table->carried_from();
    const WireError error = ReadAppId(table->app_id(), inLimits, outJoin.appId);
    return error != WireError::kNone ? error : ReadTypes(table->interest(), inLimits, outJoin.interest);
}

WireError Read(const Frame& inFrame, const Limits& inLimits, PeerNotice& outPeer) {
    const auto* table = ReadTable<schema::PeerTable>(inFrame);
    const bool up = table != nullptr && table->change() == PeerChange::Up;
    if (table == nullptr || table->member() == 0 || table->change() > PeerChange::Gone ||
        table->lane() > LaneStart::Resume || table->slot() == kEveryone || up != (table->slot() != kNoSlot) ||
        (up && (table->send_from() == 0 || table->send_from() > kMaxSequence + 1 ||
                table->receive_from() == 0 || table->receive_from() > kMaxSequence + 1))) {
        return WireError::kBadTable;
    }
    outPeer.member = table->member();
    outPeer.change = table->change();
    outPeer.reason = table->reason();
    outPeer.slot = table->slot();
    outPeer.endPoint.instance = table->instance();
    outPeer.endPoint.processId = table->process_id();
    outPeer.receives = table->receives();
    outPeer.lane = table->lane();
    outPeer.sendFrom = table->send_from();
    outPeer.receiveFrom = table->receive_from();
    outPeer.withdrawn = table->withdrawn();
    return ReadAppId(table->app_id(), inLimits, outPeer.endPoint.appId);
}

WireError ReadInterest(const Frame& inFrame, const Limits& inLimits, Interest& outInterest) {
    const auto* table = ReadTable<schema::InterestTable>(inFrame);
    return table == nullptr ? WireError::kBadTable : ReadTypes(table->types(), inLimits, outInterest);
}

}  // namespace orvane::plexa::wire
