// A CSV file, record by record.
#pragma once

#include <csv.h>

#include <deque>
#include <fstream>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

/// A file that can't be read, or is no CSV; says which record.
struct CsvError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// Reads a file of comma-separated values (RFC 4180). Blanks belong to their field; lines with
/// nothing in them are passed over; a byte order mark at the start, too.
class CsvReader {
public:
    /// A field; nothing where it is empty and not in quotes, which stands for NULL.
    using Field = std::optional<std::string>;
    using Record = std::vector<Field>;

    /// Throws CsvError.
    explicit CsvReader(const std::string& file);
    ~CsvReader();
    CsvReader(const CsvReader&) = delete;
    CsvReader& operator=(const CsvReader&) = delete;

    /// The next record, or nothing behind the last one. Throws CsvError.
    std::optional<Record> Next();

    /// The number of the record that Next brought last, from 1.
    std::size_t Number() const { return number_; }

private:
    void ReadBlock();
    [[noreturn]] void FailReading(const std::string& why) const;
    static void TakeField(void* bytes, std::size_t size, void* self);
    static void TakeRecord(int end, void* self);

    std::string file_;
    std::ifstream in_;
    csv_parser parser_{};
    bool is_at_start_ = true;
    bool is_finished_ = false;
    Record fields_;                // of the record being read
    std::deque<Record> complete_;  // read, and not yet taken
    std::size_t number_ = 0;
};
