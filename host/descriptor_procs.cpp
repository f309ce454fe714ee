// The descriptor services: read the parameters of a recorded run, and record those of this run.
#include <cstring>
#include <optional>

#include "host/host_state.h"

namespace host {

namespace {

constexpr const char* kOpenRead = "openReadDescriptorProc";
constexpr int kMaxKeys = 64;  // the array of expected keys is not terminated if it is longer
constexpr FourCharCode kKeyFound = FourCC("null");

template <typename Key, typename Token>
Token* RequireToken(Host& host, const char* call, std::map<Key, std::unique_ptr<Token>>& open, Key key) {
    const auto found = open.find(key);
    if (found != open.end()) return found->second.get();
    ReportViolation(host, ViolationKind::kBadToken, call, ": ", key == nullptr ? "null" : "unknown or closed",
                    " token");
    return nullptr;
}

std::optional<Descriptor> ReadHandle(const Host& host, Handle handle) {
    const HandleRecord* record = FindHandle(host, handle);
    if (record == nullptr) return std::nullopt;
    return DecodeDescriptor(record->address, FindContaining(host.memory, record->address)->size);
}

// Replaces a found key by 'null' in the caller's array, as hosts do, although the interface declares it
// constant.
void MarkFound(const ReadToken& token, FourCharCode found) {
    for (int i = 0; token.expected != nullptr && i < kMaxKeys && token.expected[i] != 0; ++i) {
        if (token.expected[i] == found) token.expected[i] = kKeyFound;
    }
}

// The expected keys as text.
std::string KeysText(Host& host, const FourCharCode* keys) {
    if (keys == nullptr) return " keys null";
    std::string text = " keys";
    for (int i = 0; i < kMaxKeys; ++i) {
        if (keys[i] == 0) return text + " 0";
        text += ' ' + CodeText(keys[i]);
    }
    ReportViolation(host, ViolationKind::kBadArgument, kOpenRead, ": the keys do not end with 0");
    return text;
}

PIReadDescriptor OpenRead(Handle handle, const FourCharCode* expectedKeys) {
    Host* host = EnterService();
    if (host == nullptr) return nullptr;
    std::unique_ptr<ReadToken> token;
    if (handle != nullptr) {
        std::optional<Descriptor> items = ReadHandle(*host, handle);
        if (!items) {
            ReportViolation(*host, ViolationKind::kBadHandle, kOpenRead, ": ", HandleText(*host, handle),
                            " is not a descriptor");
        } else if (!ShouldFail(*host, HostCall::kOpenReadDescriptor)) {
            token = std::make_unique<ReadToken>();
            token->id = ++host->tokensMade;
            token->source = handle;
            token->items = std::move(*items);
        }
    }
    const std::string keys = KeysText(*host, expectedKeys);
    if (token && expectedKeys != nullptr) {
        token->expected = const_cast<FourCharCode*>(expectedKeys);
        for (int i = 0; i < kMaxKeys && expectedKeys[i] != 0; ++i) token->missing.insert(expectedKeys[i]);
    }
    Trace(*host, kOpenRead, ' ', HandleText(*host, handle), keys, " -> ",
          token ? Concat("token ", token->id) : "null");
    if (!token) return nullptr;
    const auto key = reinterpret_cast<PIReadDescriptor>(token.get());
    host->readTokens.emplace(key, std::move(token));
    return key;
}

Boolean GetKey(PIReadDescriptor key, FourCharCode* itemKey, FourCharCode* type, std::int32_t* flags) {
    Host* host = EnterService();
    ReadToken* token = host == nullptr ? nullptr : RequireToken(*host, "getKeyProc", host->readTokens, key);
    if (token == nullptr) return 0;
    if (itemKey == nullptr || type == nullptr || flags == nullptr) {
        ReportViolation(*host, ViolationKind::kBadArgument, "getKeyProc: null argument");
        return 0;
    }
    token->valuePending = token->next < token->items.size();
    if (!token->valuePending) {
        Trace(*host, "getKeyProc token ", token->id, " -> none");
        return 0;
    }
    const DescriptorItem& item = token->items[token->next++];
    token->missing.erase(item.key);
    MarkFound(*token, item.key);
    *itemKey = item.key;
    *type = item.type;
    *flags = 0;
    Trace(*host, "getKeyProc token ", token->id, " -> ", CodeText(item.key), ' ', CodeText(item.type));
    return 1;
}

// Returns the value of the item that getKey returned last, once. Fails if the item has another type.
template <typename Value>
OSErr GetValue(const char* call, PIReadDescriptor key, Value* value, FourCharCode type) {
    Host* host = EnterService();
    ReadToken* token = host == nullptr ? nullptr : RequireToken(*host, call, host->readTokens, key);
    if (token == nullptr) return kServiceFailed;
    if (value == nullptr) {
        ReportViolation(*host, ViolationKind::kBadArgument, call, ": null argument");
        return kServiceFailed;
    }
    if (!token->valuePending) {
        ReportViolation(*host, ViolationKind::kBadToken, call, ": token ", token->id, " has no current key");
        return kServiceFailed;
    }
    token->valuePending = false;
    const DescriptorItem& item = token->items[token->next - 1];
    OSErr result = item.type == type ? noErr : kWrongDescriptorType;
    if (ShouldFail(*host, HostCall::kGetValue)) result = kServiceFailed;
    if (result == noErr) *value = static_cast<Value>(item.value);
    Trace(*host, call, " token ", token->id, " -> ", result,
          result == noErr ? ' ' + std::to_string(item.value) : "");
    return result;
}

OSErr GetInteger(PIReadDescriptor key, std::int32_t* value) {
    return GetValue("getIntegerProc", key, value, kTypeInteger);
}

OSErr GetBoolean(PIReadDescriptor key, Boolean* value) {
    return GetValue("getBooleanProc", key, value, kTypeBoolean);
}

// Returns errMissingParameter if expected keys are missing, which the module does not treat as an error.
OSErr CloseRead(PIReadDescriptor key) {
    Host* host = EnterService();
    ReadToken* token =
        host == nullptr ? nullptr : RequireToken(*host, "closeReadDescriptorProc", host->readTokens, key);
    if (token == nullptr) return kServiceFailed;
    OSErr result = token->missing.empty() ? noErr : errMissingParameter;
    if (host->options.closeReadCode != noErr) result = host->options.closeReadCode;
    if (ShouldFail(*host, HostCall::kCloseReadDescriptor)) result = kServiceFailed;
    Trace(*host, "closeReadDescriptorProc token ", token->id, " -> ", result);
    host->readTokens.erase(key);
    return result;
}

PIWriteDescriptor OpenWrite() {
    Host* host = EnterService();
    if (host == nullptr) return nullptr;
    if (ShouldFail(*host, HostCall::kOpenWriteDescriptor)) {
        Trace(*host, "openWriteDescriptorProc -> null");
        return nullptr;
    }
    auto token = std::make_unique<WriteToken>();
    token->id = ++host->tokensMade;
    Trace(*host, "openWriteDescriptorProc -> token ", token->id);
    const auto key = reinterpret_cast<PIWriteDescriptor>(token.get());
    host->writeTokens.emplace(key, std::move(token));
    return key;
}

OSErr PutValue(const char* call, PIWriteDescriptor key, const DescriptorItem& item) {
    Host* host = EnterService();
    WriteToken* token = host == nullptr ? nullptr : RequireToken(*host, call, host->writeTokens, key);
    if (token == nullptr) return kServiceFailed;
    OSErr result = noErr;
    if (ShouldFail(*host, HostCall::kPutValue)) {
        result = kServiceFailed;
    } else {
        for (const DescriptorItem& earlier : token->items) {
            if (earlier.key == item.key) {
                ReportViolation(*host, ViolationKind::kBadArgument, call, ": ", CodeText(item.key),
                                " is there already");
            }
        }
        token->items.push_back(item);
    }
    Trace(*host, call, " token ", token->id, ' ', CodeText(item.key), ' ', item.value, " -> ", result);
    return result;
}

OSErr PutInteger(PIWriteDescriptor key, FourCharCode itemKey, std::int32_t value) {
    return PutValue("putIntegerProc", key, {itemKey, kTypeInteger, value});
}

OSErr PutBoolean(PIWriteDescriptor key, FourCharCode itemKey, Boolean value) {
    return PutValue("putBooleanProc", key, {itemKey, kTypeBoolean, value});
}

OSErr CloseWrite(PIWriteDescriptor key, Handle* handle) {
    Host* host = EnterService();
    WriteToken* token =
        host == nullptr ? nullptr : RequireToken(*host, "closeWriteDescriptorProc", host->writeTokens, key);
    if (token == nullptr) return kServiceFailed;
    OSErr result = host->options.closeWriteCode;
    Handle made = nullptr;
    if (handle == nullptr) {
        ReportViolation(*host, ViolationKind::kBadArgument, "closeWriteDescriptorProc: null argument");
        result = kServiceFailed;
    } else if (ShouldFail(*host, HostCall::kCloseWriteDescriptor)) {
        result = kServiceFailed;
    } else {
        made = HandleOfDescriptor(*host, token->items);
    }
    if (handle != nullptr) *handle = made;
    Trace(*host, "closeWriteDescriptorProc token ", token->id, " -> ", result, ' ', HandleText(*host, made));
    host->writeTokens.erase(key);
    return result;
}

}  // namespace

void FillDescriptorProcs(const HostOptions& options, CallRecords* call) {
    ReadDescriptorProcs& read = call->readProcs;
    read = {0,          kReadDescriptorProcsCount,
            OpenRead,   CloseRead,
            GetKey,     GetInteger,
            NotOffered, NotOffered,
            GetBoolean, NotOffered,
            NotOffered, NotOffered,
            NotOffered, NotOffered,
            NotOffered, NotOffered,
            NotOffered, NotOffered,
            NotOffered, NotOffered};
    WriteDescriptorProcs& write = call->writeProcs;
    write = {0,          kWriteDescriptorProcsCount,
             OpenWrite,  CloseWrite,
             PutInteger, NotOffered,
             NotOffered, PutBoolean,
             NotOffered, NotOffered,
             NotOffered, NotOffered,
             NotOffered, NotOffered,
             NotOffered, NotOffered,
             NotOffered, NotOffered};
    PIDescriptorParameters& parameters = call->descriptorParameters;
    parameters.descriptorParametersVersion = options.descriptorsUsable ? 0 : 1;
    parameters.playInfo = options.playInfo;
    parameters.writeDescriptorProcs = &write;
    parameters.readDescriptorProcs = &read;
}

Handle HandleOfDescriptor(Host& host, const Descriptor& descriptor) {
    const std::vector<std::uint8_t> block = EncodeDescriptor(descriptor);
    Handle handle = MakeHandle(host, block.size());
    if (handle != nullptr) std::memcpy(*handle, block.data(), block.size());
    return handle;
}

void RemoveDescriptor(Host& host) {
    if (FindHandle(host, host.descriptor) != nullptr) FreeHandle(host, host.descriptor);
    host.descriptor = nullptr;
}

void SetDescriptor(Host& host, const Descriptor& descriptor) {
    RemoveDescriptor(host);
    host.descriptor = HandleOfDescriptor(host, descriptor);
}

std::optional<Descriptor> StoredDescriptor(const Host& host) {
    return ReadHandle(host, host.descriptor);
}

}  // namespace host
