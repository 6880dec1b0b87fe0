// The data sources that the tests run against, and what each is capable of.
#pragma once

#include <map>
#include <ostream>
#include <string>
#include <vector>

/// A source's names for the column types that the tests use.
struct TypeNames {
    std::string moment = "TIMESTAMP";
    std::string text = "VARCHAR(100)";
    std::string long_text = "TEXT";
    std::string long_binary = "BLOB";
};

/// SQL that differs between sources; empty if a source has no such feature.
struct Dialect {
    std::string two_results = {};             // creates what returns a row of 1, then one of two
    std::string call_two_results = {};        // calls it
    std::string procedure = {};               // creates twice(a, b, c): b is 2 a, c grows by a
    std::vector<std::string> duplicate = {};  // the error for a duplicate primary key
    std::string many_rows = {};               // a query of 100,000 rows
    std::string reading_row_by_row = {};      // for the connection string
    bool reads_ahead = false;                 // a whole result, before the first row is fetched
    std::string keeping = {};                 // makes a server keep its tables when it is killed
};

/// One source. scripts/with-servers makes a data source of the same name; a name like mariadb_utf16
/// is that of a face, the same source behind a shim.
struct Source {
    std::string name;
    std::string product;
    std::string driver;       // with the database, for a connection string
    std::string server = {};  // its address, up to the port; empty: it is a file
    std::string user = {};
    std::string bad_login = {};      // the error for a wrong password
    std::string no_server = {};      // and for a port where nothing is listening
    bool is_narrow = true;           // the driver manager converts all wide text
    std::string wide_literal = {};   // what begins a literal of wide text, before its quote
    bool folds_to_capitals = false;  // names in SQL, unless they are quoted
    TypeNames types = {};
    Dialect dialect = {};

    /// Behaviours that the source or its driver lacks, and why.
    std::map<std::string, std::string> lacks = {};

    /// Results in some cases that differ from the usual ones.
    std::map<std::string, std::string> differs = {};

    /// The same from a version on, of the server or of the library that reads the file, as reported
    /// by the driver.
    std::map<std::string, std::map<std::string, std::string>> differs_from = {};

    /// The result in a case at a version: the usual one, or that of the source.
    std::string Expected(const std::string& its_case, std::string usual,
                         const std::string& version) const;

    /// A connection string; port 0 means the one that its server is listening on.
    std::string ConnectionString(int port = 0) const;
    /// The same for another password.
    std::string ConnectionString(int port, const std::string& its_password) const;

    /// Its user's password, which scripts/with-servers has generated.
    std::string Password() const;

    /// An SQL name as in the catalog.
    std::string Name(std::string its_name) const;

    /// A file of the server's folder.
    std::string ServerFile(const std::string& file) const;
};

/// SQLite, PostgreSQL, MariaDB through the narrow shim, Virtuoso; then faces of the first three.
const std::vector<Source>& Sources();

void PrintTo(const Source& source, std::ostream* out);
