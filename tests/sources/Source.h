// The data sources that the suite of behaviours runs against, and what each is capable of.
#pragma once

#include <map>
#include <ostream>
#include <string>
#include <vector>

/// What a source calls the column types that the suite uses.
struct TypeNames {
    std::string moment = "TIMESTAMP";
    std::string text = "VARCHAR(100)";
    std::string long_text = "TEXT";
    std::string long_binary = "BLOB";
};

/// SQL that every source words in its own way; empty where it has no such thing.
struct Dialect {
    std::string two_results = {};             // makes what brings a row of 1, then one of two
    std::string call_two_results = {};        // calls it
    std::string procedure = {};               // makes twice(a, b, c): b is 2 a, c grows by a
    std::vector<std::string> duplicate = {};  // what is said of a second row of a primary key
    std::string many_rows = {};               // a query of 100,000 rows
    std::string reading_row_by_row = {};      // for the connection string
    bool reads_ahead = false;                 // a whole result, before the first row is fetched
    std::string keeping = {};  // what makes a server keep its tables when it is killed
};

/// One source. scripts/with-servers makes a data source of the same name; a name like mariadb_utf16
/// is that of a face, the same source behind a shim.
struct Source {
    std::string name;
    std::string product;
    std::string driver;       // with what says which database, for a connection string
    std::string server = {};  // what says where, up to its port; empty: it is a file
    std::string user = {};
    std::string bad_login = {};      // what is said of a wrong password
    std::string no_server = {};      // and of a port where nobody listens
    bool is_narrow = true;           // the driver manager converts all wide text
    std::string wide_literal = {};   // what begins a literal of wide text, before its quote
    bool folds_to_capitals = false;  // names in SQL, unless they are quoted
    TypeNames types = {};
    Dialect dialect = {};

    /// Behaviours that the source or its driver does not have, and why not.
    std::map<std::string, std::string> lacks = {};

    /// What comes back in some cases in the place of what is usual.
    std::map<std::string, std::string> differs = {};

    /// The same from a version on, of the server or of what reads the file, as its driver tells it.
    std::map<std::string, std::map<std::string, std::string>> differs_from = {};

    /// What comes back in a case at a version: what is usual, or what the source makes of it.
    std::string Expected(const std::string& its_case, std::string usual,
                         const std::string& version) const;

    /// A connection string; port 0 is the one its server listens at.
    std::string ConnectionString(int port = 0) const;
    /// The same for another password.
    std::string ConnectionString(int port, const std::string& its_password) const;

    /// Its user's password, which scripts/with-servers made.
    std::string Password() const;

    /// A name of SQL as the catalog has it.
    std::string Name(std::string its_name) const;

    /// A file of the server's folder.
    std::string ServerFile(const std::string& file) const;
};

/// SQLite, PostgreSQL, MariaDB through the narrow shim, Virtuoso; then faces of the first three.
const std::vector<Source>& Sources();

void PrintTo(const Source& source, std::ostream* out);
