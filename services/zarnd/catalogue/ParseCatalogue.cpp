#include <algorithm>
#include <boost/any.hpp>
#include <functional>
#include <initializer_list>

#include "catalogue/Catalogue.h"
#include "catalogue/Needs.h"
#include "common/Names.h"
#include "nuocore/JSON.h"
#include "nuocore/Variant.h"

namespace orvane::plexa::zarnd {

using nuocore::UTF8String;
using nuocore::serialization::VariantArray;
using nuocore::serialization::VariantObject;
using nuocore::serialization::VariantValue;

namespace {

constexpr std::int64_t kSchema = 1;
// Files of a module without an "unpacked-size" may grow to this, which no honest archive reaches.
constexpr std::uint64_t kUnpackedAtLeast = std::uint64_t{64} << 20U;
constexpr std::uint64_t kUnpackedFactor = 100;

[[noreturn]] void Fail(const std::string& inPlace, const std::string& inWhat) {
    throw CatalogueError(inPlace + ": " + inWhat);
}

/// A value and where it stands.
struct Item {
    const VariantValue* mValue;
    std::string mPlace;

    template <typename T>
    [[nodiscard]] const T& As(const char* inKind) const {
        const T* const value = boost::any_cast<T>(mValue);
        if (value == nullptr) Fail(mPlace, std::string("must be ") + inKind);
        return *value;
    }
    [[nodiscard]] const VariantObject& Object() const { return As<VariantObject>("an object"); }
    [[nodiscard]] std::string Text() const {
        const UTF8String& text = As<UTF8String>("a text");
        if (text.empty()) Fail(mPlace, "must not be empty");
        if (text.size() > kMaxTextBytes) {
            Fail(mPlace, "has more than " + std::to_string(kMaxTextBytes) + " bytes");
        }
        if (HasControl(text)) Fail(mPlace, "has a control character");
        return std::string(text);
    }
    [[nodiscard]] std::string Name() const {
        std::string name = Text();
        if (!IsName(name)) {
            Fail(mPlace, "must be 1 to 64 letters, digits, \"-\", \"_\" and \".\", \".\" not in front");
        }
        return name;
    }
    [[nodiscard]] std::uint64_t Bytes() const {
        const auto bytes = As<std::int64_t>("a whole number");
        if (bytes < 1 || static_cast<std::uint64_t>(bytes) > kMaxArchiveBytes) {
            Fail(mPlace, "must be 1 to " + std::to_string(kMaxArchiveBytes));
        }
        return static_cast<std::uint64_t>(bytes);
    }
    [[nodiscard]] std::vector<std::string> List(const std::function<std::string(const Item&)>& inRead) const {
        const auto& array = As<VariantArray>("a list");
        if (array.size() > kMaxListEntries) {
            Fail(mPlace, "has more than " + std::to_string(kMaxListEntries) + " entries");
        }
        std::vector<std::string> texts;
        for (std::size_t index = 0; index != array.size(); ++index) {
            const Item entry{array[index].get(), mPlace + "[" + std::to_string(index) + "]"};
            texts.push_back(inRead(entry));
            if (std::count(texts.begin(), texts.end(), texts.back()) > 1) {
                Fail(entry.mPlace, "stands there twice");
            }
        }
        return texts;
    }
};

/// The members of an object, each of a known key.
class Members {
  public:
    Members(const Item& inItem, std::initializer_list<std::string_view> inKeys)
        : mObject(inItem.Object()), mPlace(inItem.mPlace) {
        for (const auto& [key, value] : mObject) {
            if (std::find(inKeys.begin(), inKeys.end(), std::string_view(key)) == inKeys.end()) {
                Fail(Below(Shown(key)), "is no key of this schema");
            }
        }
    }

    [[nodiscard]] bool Has(const char* inKey) const { return mObject.find(inKey) != mObject.end(); }
    [[nodiscard]] Item At(const char* inKey) const {
        const auto found = mObject.find(inKey);
        if (found == mObject.end()) Fail(Below(inKey), "is missing");
        return {found->second.get(), Below(inKey)};
    }

  private:
    [[nodiscard]] std::string Below(const std::string& inKey) const {
        return mPlace.empty() ? inKey : mPlace + "." + inKey;
    }
    static std::string Shown(std::string_view inKey) {
        return inKey.size() <= kMaxNameBytes && !HasControl(inKey) ? std::string(inKey) : "(a strange key)";
    }

    const VariantObject& mObject;
    std::string mPlace;
};

std::string Version(const Item& inItem) {
    std::string version = inItem.Text();
    const std::size_t star = version.find('*');
    const bool isPattern = version == "*" || (version.size() > 2 && version.ends_with(".*"));
    if (star != std::string::npos && (!isPattern || star + 1 != version.size())) {
        Fail(inItem.mPlace, "has a \"*\" that is not the last part");
    }
    return version;
}

std::string Address(const Item& inItem) {
    std::string address = inItem.Text();
    const bool isFile = address.starts_with("file:///") || address.starts_with("file://localhost/");
    if (!isFile && !address.starts_with("http://") && !address.starts_with("https://")) {
        Fail(inItem.mPlace, "must begin with \"file:///\", \"http://\" or \"https://\"");
    }
    if (address.find(' ') != std::string::npos) Fail(inItem.mPlace, "has a blank");
    return address;
}

std::string Digest(const Item& inItem) {
    std::string digest = inItem.Text();
    if (digest.size() != 64 || digest.find_first_not_of("0123456789abcdef") != std::string::npos) {
        Fail(inItem.mPlace, "must be 64 lower-case hexadecimal digits");
    }
    return digest;
}

std::string Executable(const Item& inItem) {
    std::string name = inItem.Text();
    // A comma parts the names in an error event's metadata.
    if (name.find_first_of("/,") != std::string::npos) {
        Fail(inItem.mPlace, "must be an executable's name, without folders and commas");
    }
    return name;
}

ModuleSpec Module(const std::string& inId, const Item& inItem) {
    const Members members(
        inItem, {"version", "fits", "archive", "sha256", "size", "unpacked-size", "conflicts", "needs"});
    ModuleSpec module;
    module.mId = inId;
    module.mVersion = members.At("version").Text();
    module.mFits = members.At("fits").List(Version);
    if (module.mFits.empty()) Fail(members.At("fits").mPlace, "must not be empty");
    module.mArchive = Address(members.At("archive"));
    module.mSha256 = Digest(members.At("sha256"));
    module.mSize = members.At("size").Bytes();
    module.mUnpackedSize = members.Has("unpacked-size")
                               ? members.At("unpacked-size").Bytes()
                               : std::max(kUnpackedAtLeast, module.mSize * kUnpackedFactor);
    if (members.Has("conflicts")) module.mConflicts = members.At("conflicts").List(Executable);
    if (members.Has("needs")) {
        module.mNeeds = members.At("needs").List([](const Item& inNeeded) { return inNeeded.Name(); });
    }
    return module;
}

}  // namespace

Catalogue ParseCatalogue(std::string_view inText, std::string_view inProduct) {
    nuocore::serialization::VariantValuePtr value;
    try {
        value = nuocore::serialization::ParseJSON(inText, {kMaxCatalogueBytes, 16, 500'000});
    } catch (const nuocore::serialization::JSONError& error) {
        throw CatalogueError(std::string("is no JSON: ") + error.what());
    }
    if (boost::any_cast<VariantObject>(value.get()) == nullptr) throw CatalogueError("is no JSON object");
    const Members members({value.get(), ""}, {"schema", "product", "modules"});
    if (members.At("schema").As<std::int64_t>("a whole number") != kSchema) {
        Fail("schema", "must be " + std::to_string(kSchema));
    }
    Catalogue catalogue;
    catalogue.mProduct = members.At("product").Name();
    if (catalogue.mProduct != inProduct) {
        Fail("product", "must be \"" + std::string(inProduct) + "\", as the file's name says");
    }
    const VariantObject& modules = members.At("modules").Object();
    if (modules.size() > kMaxModules) {
        Fail("modules", "has more than " + std::to_string(kMaxModules) + " entries");
    }
    for (const auto& [id, spec] : modules) {
        if (!IsName(id)) Fail("modules", "has a key that is no module id");
        const std::string name(id);
        catalogue.mModules.emplace(name, Module(name, {spec.get(), "modules." + name}));
    }
    CheckNeeds(catalogue);
    return catalogue;
}

}  // namespace orvane::plexa::zarnd
