// PINs and keys of the virtual card: what is counted, what unblocks, what
// counts as proven and where.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "hex.h"
#include "session.h"
#include "virtualcard/card.h"

namespace {

using virtualcard::Bytes;
using virtualcard::VirtualCard;

// PINs: 1 with PUK 2 and bounds; 3 not yet set; 4 without a counter, changed by
// who has proven PIN 1, unblocked so too; 5 closed; 81 specific; 6 not yet set
// and closed. Keys: 1 AES, 82 triple DES, 3 without an algorithm, 4 changed
// with PIN 1. Two applications, the first with a directory without a name and
// an application inside.
const char *const cardText = R"({
  "format": "zelmo virtual card 1",
  "root": { "fid": "3F00", "kind": "df", "files": [
    { "fid": "2F00", "kind": "transparent", "data": "00" },
    { "fid": "5015", "kind": "df", "name": "A00001", "files": [
      { "fid": "4401", "kind": "transparent", "sfi": 1, "data": "01", "access": { "read": { "pin": 129 } } },
      { "fid": "4402", "kind": "transparent", "sfi": 2, "data": "02", "access": { "read": { "key": 1 } } },
      { "fid": "5F00", "kind": "df", "files": [ { "fid": "4403", "kind": "transparent", "data": "03" } ] },
      { "fid": "5F01", "kind": "df", "name": "A0000101" } ] },
    { "fid": "5016", "kind": "df", "name": "A00002", "files": [
      { "fid": "4401", "kind": "transparent", "data": "01", "access": { "read": { "pin": 129 } } } ] } ] },
  "pins": [
    { "reference": 1, "value": "31323334", "minLength": 4, "maxLength": 6, "unblockedBy": 2 },
    { "reference": 2, "value": "50554B", "maxTries": 2 },
    { "reference": 3, "minLength": 2 },
    { "reference": 4, "value": "44", "maxTries": 0, "access": { "change": { "pin": 1 }, "unblock": { "pin": 1 } } },
    { "reference": 5, "value": "55", "maxTries": 1, "access": { "change": "never" } },
    { "reference": 6, "access": { "change": "never" } },
    { "reference": 129, "value": "3838" } ],
  "keys": [
    { "reference": 1, "algorithm": "aes", "value": "000102030405060708090A0B0C0D0E0F", "maxTries": 2 },
    { "reference": 130, "algorithm": "3des", "value": "0123456789ABCDEF23456789ABCDEF01" },
    { "reference": 3, "value": "33" },
    { "reference": 4, "algorithm": "aes", "value": "00112233445566778899AABBCCDDEEFF",
      "access": { "change": { "pin": 1 } } } ]
})";

TEST(SecretSession, Verification) {
    runSessions(cardText, R"(WrongOnceThriceBlocked
  00 20 00 01 > 63 C3 | 00 20 00 01 04 31 32 33 35 > 63 C2 | 00 20 00 01 04 31 32 33 34 > 90 00
  00 20 00 01 > 90 00 | 00 20 00 01 03 31 32 33 > 63 C2 | 00 20 00 01 > 63 C2  # and stands verified no more
  00 20 00 01 05 31 32 33 34 00 > 63 C1 | 00 20 00 01 01 31 > 63 C0 | 00 20 00 01 04 31 32 33 34 > 69 83
  00 20 00 01 > 69 83 | 00 24 00 01 08 31 32 33 34 31 32 33 35 > 69 83 | 00 24 01 01 04 31 32 33 35 > 69 83
WithoutACounter
  00 20 00 04 01 45 > 63 00 | 00 20 00 04 > 63 00 | 00 20 00 04 01 44 > 90 00 | 00 20 00 04 > 90 00
WhatDoesNotExist
  00 20 00 07 01 00 > 6A 88 | 00 20 02 01 01 00 > 6A 86 | 00 24 00 07 02 00 00 > 6A 88
  00 24 02 01 01 00 > 6A 86 | 00 24 00 01 > 67 00 | 00 24 01 01 > 67 00 | 00 2C 00 07 02 00 00 > 6A 88
  00 2C 04 01 02 00 00 > 6A 86 | 00 82 00 07 01 00 > 6A 88 | 00 82 01 01 01 00 > 6A 86
  80 D8 00 07 01 00 > 6A 88 | 80 D8 01 01 01 00 > 6A 86 | 00 D8 00 01 01 00 > 6D 00 | 80 20 00 01 01 00 > 6E 00)");
}

TEST(SecretSession, Change) {
    runSessions(cardText, R"(ChangeWithTheOldValue
  00 24 00 01 09 31 32 33 34 31 32 33 34 35 > 90 00 | 00 20 00 01 > 90 00  # the old value has proven it
  00 20 00 01 04 31 32 33 34 > 63 C2 | 00 20 00 01 05 31 32 33 34 35 > 90 00
WrongOldValueIsCounted
  00 20 00 01 04 31 32 33 34 > 90 00 | 00 24 00 01 08 31 32 33 35 39 39 39 39 > 63 C2 | 00 20 00 01 > 63 C2
  00 24 00 01 02 31 32 > 63 C1 | 00 24 00 01 08 31 32 33 35 39 39 39 39 > 63 C0
  00 24 00 01 08 31 32 33 34 39 39 39 39 > 69 83
NewValueOutsideTheBounds
  00 24 00 01 07 31 32 33 34 31 32 33 > 6A 80 | 00 24 00 01 0B 31 32 33 34 31 32 33 34 35 36 37 > 6A 80
  00 24 00 01 04 31 32 33 34 > 67 00 | 00 20 00 01 > 90 00 | 00 24 01 01 03 31 32 33 > 6A 80
  00 24 01 01 07 31 32 33 34 35 36 37 > 6A 80 | 00 24 01 01 06 31 32 33 34 35 36 > 90 00
  00 20 00 01 06 31 32 33 34 35 36 > 90 00
ChangeOfTheNewValueAlone
  00 24 01 01 04 39 39 39 39 > 69 82 | 00 20 00 01 04 31 32 33 34 > 90 00 | 00 24 01 01 04 39 39 39 39 > 90 00
  00 20 00 01 > 90 00 | 00 20 00 01 04 39 39 39 39 > 90 00
ChangeByAnotherPin
  00 20 00 04 01 44 > 90 00 | 00 24 01 04 01 45 > 69 82
  00 24 00 04 02 44 46 > 90 00  # the old value does without the condition
  00 20 00 01 04 31 32 33 34 > 90 00 | 00 24 01 04 01 45 > 90 00 | 00 20 00 04 01 45 > 90 00
NeverMeansNever
  00 24 00 05 02 55 56 > 69 82 | 00 20 00 05 01 55 > 90 00 | 00 24 01 05 01 56 > 69 82
  00 24 00 05 02 55 56 > 69 82 | 00 24 01 06 01 56 > 69 82
FirstSetting
  00 20 00 03 > 69 84 | 00 20 00 03 02 33 33 > 69 84 | 00 24 00 03 02 33 33 > 69 84 | 00 2C 03 03 > 69 84
  00 24 01 03 01 33 > 6A 80 | 00 24 01 03 02 33 33 > 90 00 | 00 20 00 03 > 63 C3  # set, not verified
  00 24 01 03 02 34 34 > 69 82 | 00 20 00 03 02 33 33 > 90 00)");
}

TEST(SecretSession, Unblocking) {
    runSessions(cardText, R"(WithCodeAndNewValue
  00 20 00 01 01 00 > 63 C2 | 00 20 00 01 01 00 > 63 C1 | 00 20 00 01 01 00 > 63 C0
  00 2C 00 01 07 50 55 4B 39 39 39 39 > 90 00 | 00 20 00 01 > 63 C3
  00 20 00 02 > 63 C2  # the code is no proof of PIN 2
  00 20 00 01 04 31 32 33 34 > 63 C2 | 00 20 00 01 04 39 39 39 39 > 90 00
WithTheCodeAlone
  00 20 00 01 01 00 > 63 C2 | 00 2C 01 01 03 50 55 4B > 90 00 | 00 20 00 01 > 63 C3
  00 20 00 01 04 31 32 33 34 > 90 00
WrongCodeCostsTheCodesTries
  00 2C 01 01 03 50 55 4C > 63 C1 | 00 20 00 02 > 63 C1 | 00 20 00 01 > 63 C3
  00 2C 00 01 07 50 55 4B 39 39 39 39 > 90 00  # gives them back
  00 20 00 02 > 63 C2 | 00 2C 00 01 01 50 > 63 C1 | 00 2C 01 01 04 50 55 4B 00 > 63 C0
  00 2C 01 01 03 50 55 4B > 69 83 | 00 20 00 02 03 50 55 4B > 69 83
NewValueOutsideTheBounds
  00 20 00 01 01 00 > 63 C2 | 00 2C 00 01 05 50 55 4B 39 39 > 6A 80 | 00 2C 00 01 03 50 55 4B > 67 00
  00 20 00 01 > 63 C2 | 00 20 00 02 > 63 C2
EndsTheProof
  00 20 00 01 04 31 32 33 34 > 90 00 | 00 2C 01 01 03 50 55 4B > 90 00 | 00 20 00 01 > 63 C3
ByCondition
  00 2C 03 04 > 69 82 | 00 2C 02 04 01 45 > 69 82 | 00 20 00 01 04 31 32 33 34 > 90 00 | 00 2C 03 04 > 90 00
  00 2C 02 04 01 45 > 90 00 | 00 20 00 04 01 45 > 90 00
WithoutAConditionNever
  00 2C 03 01 > 69 82 | 00 2C 02 01 04 39 39 39 39 > 69 82 | 00 2C 01 05 01 00 > 6A 88
DataAsP1Says
  00 2C 00 01 > 67 00 | 00 2C 01 01 > 67 00 | 00 2C 02 01 > 67 00 | 00 2C 03 01 01 00 > 67 00)");
}

TEST(SecretSession, Applications) {
    runSessions(cardText, R"(SpecificPinHoldsInsideItsApplication
  00 A4 04 0C 03 A0 00 01 > 90 00 | 00 B0 81 00 01 > 69 82 | 00 20 00 81 02 38 38 > 90 00
  00 B0 81 00 01 > 01 90 00 | 00 A4 08 0C 04 50 15 44 02 > 90 00 | 00 B0 81 00 01 > 01 90 00
  00 A4 08 0C 06 50 15 5F 00 44 03 > 90 00  # a DF without a name belongs to the application
  00 A4 08 0C 04 50 15 44 01 > 90 00 | 00 B0 00 00 01 > 01 90 00 | 00 A4 08 0C 04 50 15 FF 00 > 6A 82
  00 20 00 81 > 90 00
SpecificPinIsLostOutside
  00 A4 04 0C 03 A0 00 01 > 90 00 | 00 20 00 81 02 38 38 > 90 00
  00 A4 08 0C 02 2F 00 > 90 00  # EF.DIR: the root, no longer the application
  00 20 00 81 > 63 C3 | 00 A4 08 0C 04 50 15 44 01 > 90 00 | 00 B0 00 00 01 > 69 82
SpecificPinIsLostInAnotherApplication
  00 A4 04 0C 03 A0 00 01 > 90 00 | 00 20 00 81 02 38 38 > 90 00 | 00 A4 08 0C 04 50 16 44 01 > 90 00
  00 B0 00 00 01 > 69 82 | 00 A4 08 0C 04 50 15 44 01 > 90 00 | 00 B0 00 00 01 > 69 82
SpecificPinIsLostInAnApplicationInside
  00 A4 04 0C 03 A0 00 01 > 90 00 | 00 20 00 81 02 38 38 > 90 00 | 00 A4 01 0C 02 5F 01 > 90 00
  00 20 00 81 > 63 C3
GlobalPinHoldsEverywhere
  00 A4 04 0C 03 A0 00 01 > 90 00 | 00 20 00 01 04 31 32 33 34 > 90 00 | 00 A4 08 0C 02 2F 00 > 90 00
  00 20 00 01 > 90 00 | 00 A4 08 0C 04 50 16 44 01 > 90 00 | 00 20 00 01 > 90 00
ForgetsEverything
  00 A4 04 0C 03 A0 00 01 > 90 00 | 00 20 00 01 04 31 32 33 34 > 90 00 | 00 20 00 81 02 38 38 > 90 00
  00 A4 04 0C 03 A0 00 01 > 90 00 | 00 20 FF 00 > 90 00 | 00 20 00 01 > 63 C3 | 00 20 00 81 > 63 C3
  00 20 FF 00 > 90 00
ForgetsWhatTheApplicationKnows
  00 A4 04 0C 03 A0 00 01 > 90 00 | 00 20 00 01 04 31 32 33 34 > 90 00 | 00 A4 04 0C 03 A0 00 02 > 90 00
  00 20 00 02 03 50 55 4B > 90 00 | 00 20 FF 80 > 90 00 | 00 20 00 02 > 63 C2
  00 20 00 01 > 90 00  # proven beside it
  00 A4 08 0C 04 50 15 44 01 > 90 00 | 00 20 FF 80 > 90 00 | 00 20 00 01 > 63 C3
ForgetsWhatWasProvenTwice
  00 A4 04 0C 03 A0 00 01 > 90 00 | 00 20 00 01 04 31 32 33 34 > 90 00 | 00 A4 04 0C 03 A0 00 02 > 90 00
  00 20 00 01 04 31 32 33 34 > 90 00 | 00 A4 04 0C 03 A0 00 01 > 90 00 | 00 20 FF 80 > 90 00
  00 20 00 01 > 63 C3
ForgetsWhatWasProvenAroundAndInside
  00 20 00 01 04 31 32 33 34 > 90 00  # at the root
  00 A4 08 0C 04 50 15 5F 01 > 90 00 | 00 20 00 02 03 50 55 4B > 90 00 | 00 A4 04 0C 03 A0 00 01 > 90 00
  00 20 FF 80 > 90 00 | 00 20 00 01 > 63 C3 | 00 20 00 02 > 63 C2 | 00 20 00 01 04 31 32 33 34 > 90 00
  00 A4 00 0C 02 3F 00 > 90 00 | 00 20 FF 80 > 90 00 | 00 20 00 01 > 63 C3
ForgetsInNoOtherWay
  00 20 FF 01 > 6A 86 | 00 20 FF 81 > 6A 86 | 00 20 FF 00 01 00 > 67 00)");
}

TEST(SecretSession, Keys) {
    runSessions(cardText, R"(NoChallengeNoAttempt
  00 82 00 01 > 63 C2 | 00 82 00 01 10 00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F > 69 85
  00 82 00 01 > 63 C2 | 00 CA 00 84 00 > 90 00
KeyWithoutAnAlgorithm
  00 82 00 03 01 33 > 69 84 | 00 82 00 03 > 69 84
KeyChangeNeedsItsCondition
  80 D8 00 01 10 00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F > 69 82
  80 D8 00 04 10 00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F > 69 82 | 00 20 00 01 04 31 32 33 34 > 90 00
  80 D8 00 04 0F 00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E > 6A 80 | 80 D8 00 04 > 67 00
  80 D8 00 04 10 00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F > 90 00)");
}

}  // namespace
