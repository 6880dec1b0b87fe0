// A CSV file, record by record.
#pragma once

#include <csv.h>

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <istream>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

/// A file can't be read, or is not CSV; says which line.
struct CsvError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// Reads comma-separated values (RFC 4180), or those with another delimiter. Blanks are part of
/// their field; empty lines are skipped unless a record is one field, and so is a byte order mark
/// at the start.
class CsvReader {
public:
    /// A field; nothing if it is empty and not in quotes, which means NULL.
    using Field = std::optional<std::string_view>;
    using Record = std::span<const Field>;

    /// file: its name, or - for standard input. Throws CsvError.
    explicit CsvReader(const std::string& file, char delimiter = ',');
    ~CsvReader();
    CsvReader(const CsvReader&) = delete;
    CsvReader& operator=(const CsvReader&) = delete;

    /// From here on a record is one field, so that an empty line is a NULL.
    void TakeEmptyLines() { takes_empty_lines_ = true; }

    /// Reads the next record; false after the last one. Throws CsvError.
    bool Next();

    /// The record that Next has read; valid until it reads another.
    Record Fields() const { return fields_; }

    /// The line, from 1, on which that record begins.
    std::uint64_t Line() const { return record_line_; }

    /// The file as messages name it.
    const std::string& Name() const { return name_; }

    /// Bytes of the file read so far.
    std::uint64_t BytesRead() const { return bytes_read_; }

private:
    struct Extent {
        std::size_t begin = 0;
        std::size_t size = 0;
        bool is_null = false;
    };

    bool ReadBlock();
    void ParseLine();
    void Finish();
    void CheckParsed(bool is_parsed);
    void CompleteRecord();
    [[noreturn]] void FailReading(const std::string& why) const;
    static void TakeField(void* bytes, std::size_t size, void* self);
    static void TakeRecord(int end, void* self);

    std::string name_;
    std::ifstream file_;
    std::istream& in_;
    csv_parser parser_{};
    std::vector<char> block_;
    std::string_view left_;  // of the block, not yet parsed
    bool takes_empty_lines_ = false;
    bool is_behind_return_ = false;  // the last byte parsed was \r
    bool is_at_start_ = true;
    bool is_finished_ = false;
    bool is_inside_ = false;       // a record has begun and not ended
    bool is_complete_ = false;     // a record has ended
    bool ends_in_return_ = false;  // the last stretch that was parsed
    std::uint64_t line_ = 1;
    std::uint64_t record_line_ = 1;
    std::uint64_t bytes_read_ = 0;
    std::string values_;  // of the record, one after the other
    std::vector<Extent> extents_;
    std::vector<Field> fields_;
};
