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

/// One source. scripts/with-servers makes a data source of the same name.
struct Source {
    std::string name;
    std::string driver;  // with what says which database, for a connection string
    std::string server;  // what says where, up to its port; empty: it is a file
    std::string user;
    std::string password;

    bool is_narrow = true;  // the driver manager converts all wide text
    TypeNames types;

    /// Behaviours that the source or its driver does not have, and why not.
    std::map<std::string, std::string> lacks;

    /// What comes back of some values in the place of what was sent.
    std::map<std::string, std::string> differs;

    /// A connection string; port 0 is the one its server listens at.
    std::string ConnectionString(int port = 0) const;
    /// The same for another password.
    std::string ConnectionString(int port, const std::string& its_password) const;
};

const std::vector<Source>& Sources();

void PrintTo(const Source& source, std::ostream* out);
