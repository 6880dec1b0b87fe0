// ODBC's numbers, which a host passes and receives unchanged. A host needs no ODBC header.
#pragma once

#include <cstdint>

#include "orvelgw.h"

enum SqlType : std::int32_t {
    kCharType = 1,
    kNumericType = 2,
    kDecimalType = 3,
    kIntegerType = 4,
    kSmallintType = 5,
    kDoubleType = 8,
    kDateTypeOfOdbc2 = 9,
    kTimestampTypeOfOdbc2 = 11,
    kVarcharType = 12,
    kDateType = 91,
    kTimestampType = 93,
    kLongVarcharType = -1,
    kBinaryType = -2,
    kVarbinaryType = -3,
    kLongVarbinaryType = -4,
    kBigintType = -5,
    kTinyintType = -6,
    kBitType = -7,
    kWideCharType = -8,
    kWideVarcharType = -9,
    kWideLongVarcharType = -10
};

enum CType : std::int32_t { kCharacterCType = 1, kBinaryCType = -2, kWideCType = -8 };

inline constexpr std::int32_t kInput = 1;             // SQL_PARAM_INPUT
inline constexpr std::int32_t kAtExecution = -100;    // SQL_LEN_DATA_AT_EXEC(0)
inline constexpr std::int32_t kAutocommit = 102;      // SQL_ATTR_AUTOCOMMIT
inline constexpr std::int32_t kCommit = 0;            // SQL_COMMIT
inline constexpr std::int32_t kRollback = 1;          // SQL_ROLLBACK
inline constexpr std::int32_t kIdentifierCase = 28;   // SQL_IDENTIFIER_CASE
inline constexpr std::int32_t kIdentifierQuote = 29;  // SQL_IDENTIFIER_QUOTE_CHAR
inline constexpr std::int32_t kNeedLongDataLength = 111;
inline constexpr std::int32_t kDriverName = 6;
inline constexpr std::int32_t kDriverVersion = 7;
inline constexpr std::int32_t kMultipleResultSets = 36;
inline constexpr std::int32_t kTransactionCapable = 46;
inline constexpr std::int32_t kBatchSupport = 121;
inline constexpr std::int32_t kDbmsName = 17;
inline constexpr std::int32_t kDbmsVersion = 18;

/// Whether a result code is other than SQL_SUCCESS and SQL_SUCCESS_WITH_INFO.
inline bool Failed(std::int32_t code)
{
    return code != ORVEL_SUCCESS && code != ORVEL_SUCCESS_WITH_INFO;
}
