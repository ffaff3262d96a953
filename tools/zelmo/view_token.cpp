#include "view.h"

namespace zelmo {

namespace {

using view::array;
using view::bits;
using view::integer;
using view::member;
using view::objectId;
using view::octets;
using view::path;
using view::text;

Json viewSecurityEnvironment(const SecurityEnvironmentInfo &info) {
    Json json = Json::object();
    member(json, "se", info.se, integer);
    member(json, "owner", info.owner, objectId);
    member(json, "aid", info.aid, octets);
    return json;
}

Json viewRecordInfo(const RecordInfo &info) {
    Json json = Json::object();
    member(json, "oDFRecordLength", info.oDFRecordLength, integer);
    member(json, "prKDFRecordLength", info.prKDFRecordLength, integer);
    member(json, "puKDFRecordLength", info.puKDFRecordLength, integer);
    member(json, "sKDFRecordLength", info.sKDFRecordLength, integer);
    member(json, "cDFRecordLength", info.cDFRecordLength, integer);
    member(json, "dODFRecordLength", info.dODFRecordLength, integer);
    member(json, "aODFRecordLength", info.aODFRecordLength, integer);
    return json;
}

Json viewAlgorithm(const AlgorithmInfo &info) {
    Json json = Json::object();
    member(json, "reference", info.reference, integer);
    member(json, "algorithm", info.algorithm, integer);
    member(json, "parameters", info.parameters, octets);
    member(json, "supportedOperations", info.supportedOperations, [](const asn1_BitString &value) {
        return bits(value, {"computeChecksum", "computeSignature", "verifyChecksum", "verifySignature", "encipher",
                            "decipher", "hash", "generateKey"});
    });
    member(json, "algId", info.algId, objectId);
    member(json, "algRef", info.algRef, integer);
    return json;
}

Json viewLastUpdate(const LastUpdate &update) {
    if (update.tag == 24)
        return view::text({static_cast<uint32_t>(std::strlen(static_cast<const char *>(update.value))),
                           static_cast<uint8_t *>(update.value)});
    const auto *reference = static_cast<const ReferencedValue *>(update.value);
    if (reference->tag == 16)
        return path(*static_cast<const Path *>(reference->value));
    return octets(*static_cast<const asn1_Any *>(reference->value));
}

Json viewDdo(const DDO &ddo) {
    Json json = Json::object();
    member(json, "oid", ddo.oid, objectId);
    member(json, "odfPath", ddo.odfPath, path);
    member(json, "tokenInfoPath", ddo.tokenInfoPath, path);
    member(json, "unusedPath", ddo.unusedPath, path);
    return json;
}

}  // namespace

Json viewTokenInfo(const TokenInfo &info) {
    Json json = Json::object();
    member(json, "label", info.label, text);
    member(json, "serialNumber", info.serialNumber, octets);
    member(json, "manufacturerID", info.manufacturerID, text);
    member(json, "version", info.version, integer);
    member(json, "tokenflags", info.tokenflags, [](const asn1_BitString &value) {
        return bits(value, {"readonly", "loginRequired", "prnGeneration", "eidCompliant"});
    });
    member(json, "seInfo", info.seInfo,
           [](const List &list) { return array<SecurityEnvironmentInfo>(list, viewSecurityEnvironment); });
    member(json, "recordInfo", info.recordInfo, viewRecordInfo);
    member(json, "supportedAlgorithms", info.supportedAlgorithms,
           [](const List &list) { return array<AlgorithmInfo>(list, viewAlgorithm); });
    member(json, "issuerId", info.issuerId, text);
    member(json, "holderId", info.holderId, text);
    member(json, "lastUpdate", info.lastUpdate, viewLastUpdate);
    member(json, "preferredLanguage", info.preferredLanguage, text);
    return json;
}

Json viewApplication(const DIRRecord &record) {
    Json json = Json::object();
    member(json, "aid", record.aid, octets);
    member(json, "label", record.label, text);
    member(json, "path", record.path, octets);
    member(json, "ddo", record.ddo, viewDdo);
    return json;
}

}  // namespace zelmo
