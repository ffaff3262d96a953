// What the commands that create something carry, as octets: file control parameters with access rules, and secrets.
#ifndef VIRTUALCARD_TEMPLATES_H
#define VIRTUALCARD_TEMPLATES_H

#include <cstdint>
#include <map>
#include <span>

#include "virtualcard/image.h"

namespace virtualcard {

using AccessRules = std::map<Operation, AccessCondition>;

/// Access rules one behind the other: the operation from 1 (Operation::read) on, then the condition, operators in
/// front: 0 always, 1 never, 2 and a PIN, 3 and a key, 4 all or 5 any, a count and as many conditions.
Bytes encodeAccess(const AccessRules &access);

/// The data of CREATE FILE, without the file's content and without what a DF holds. The content's size is that of
/// `file.data`.
Bytes encodeFile(const File &file);
/// The other way round; the status says why not. Whether the file has a place in its DF is not looked at.
uint16_t decodeFile(std::span<const uint8_t> octets, File &file);

/// The data of CREATE SECRET.
Bytes encodeSecret(const Secret &secret);
/// The other way round, but for the reference, which is no part of it.
uint16_t decodeSecret(std::span<const uint8_t> octets, SecretKind kind, Secret &secret);

/// The data of ENTER PHASE: the access rules that the root gets.
Bytes encodeRootRules(const AccessRules &access);
uint16_t decodeRootRules(std::span<const uint8_t> octets, AccessRules &access);

}  // namespace virtualcard

#endif
