// What the catalog entries report about the same tables and the same procedure in every source.
#include "sources/source_fixture.h"

namespace {

class Catalogs : public ConnectedTest {
protected:
    Catalogs()
    {
        Drop("child");
        Make("parent", "id INTEGER NOT NULL PRIMARY KEY, name " + GetParam().types.text);
        Make("child",
             "id INTEGER, parent_id INTEGER, "
             "FOREIGN KEY (parent_id) REFERENCES parent(id)");
        Run("CREATE UNIQUE INDEX child_id ON child(id)");
        if (!GetParam().dialect.procedure.empty()) {
            Run(GetParam().dialect.procedure);
            Run("GRANT SELECT ON parent TO PUBLIC");
            Run("GRANT SELECT (id, name) ON parent TO PUBLIC");
        }
    }
    ~Catalogs() override { Drop("child"); }

    std::string RowsOf(const std::string& entry, const std::vector<Argument>& rest) const
    {
        EXPECT_EQ(CallOn(statement, entry, rest).code, 0) << entry << Errors();
        return Rows();
    }
};

struct CatalogCase {
    const char* behaviour;
    const char* entry;
    std::vector<Argument> rest;  // after the statement; names as in SQL
    std::vector<std::string> holds;
};

const CatalogCase kCases[] = {
    {"tables", "Tables", {"", "", "parent", "TABLE"}, {"parent", "\"TABLE\""}},
    {"tables", "TablesW", {u"", u"", u"chil%", u"TABLE"}, {"child", "\"TABLE\""}},
    {"columns", "Columns", {"", "", "parent", ""}, {"id", "name"}},
    {"columns", "ColumnsW", {u"", u"", u"child", u"parent%"}, {"parent_id"}},
    {"keys", "PrimaryKeys", {"", "", "parent"}, {"id"}},
    {"keys", "PrimaryKeysW", {u"", u"", u"parent"}, {"id"}},
    {"keys", "ForeignKeys", {"", "", "", "", "", "child"}, {"parent", "parent_id"}},
    {"keys", "ForeignKeysW", {u"", u"", u"parent", u"", u"", u""}, {"child", "parent_id"}},
    {"statistics", "Statistics", {"", "", "child", 0}, {"child_id"}},
    {"special columns", "SpecialColumns", {1, "", "", "parent", 0, 1}, {"id"}},
    {"special columns", "SpecialColumnsW", {1, u"", u"", u"parent", 0, 1}, {"id"}},
    {"privileges", "TablePrivileges", {"", "", "parent"}, {"\"SELECT\""}},
    {"privileges", "TablePrivilegesW", {u"", u"", u"parent"}, {"\"SELECT\""}},
    {"privileges", "ColumnPrivileges", {"", "", "parent", "id"}, {"id", "\"SELECT\""}},
    {"privileges", "ColumnPrivilegesW", {u"", u"", u"parent", u"%"}, {"name", "\"SELECT\""}},
    {"procedures", "DescribeProcedures", {"", "", "twice"}, {"twice"}},
    {"procedures", "DescribeProceduresW", {u"", u"", u"twice"}, {"twice"}},
    {"procedures", "DescribeProcedureColumns", {"", "", "twice", ""}, {"a", "b", "c"}},
    {"procedures", "DescribeProcedureColumnsW", {u"", u"", u"twice", u""}, {"a", "b", "c"}},
};

TEST_P(Catalogs, DescribeTablesAndProcedures)
{
    struct AsTheCatalogHasIt {
        void operator()(std::monostate) const {}
        void operator()(std::int32_t) const {}
        void operator()(std::string& name) const { name = GetParam().Name(name); }
        void operator()(std::u16string& name) const
        {
            std::string bytes;
            for (const char16_t unit : name) {
                bytes += static_cast<char>(unit);
            }
            name = UnitsFromUtf8(GetParam().Name(bytes));
        }
    };
    for (CatalogCase c : kCases) {
        if (Lacks(c.behaviour)) {
            continue;
        }
        for (Argument& argument : c.rest) {
            std::visit(AsTheCatalogHasIt{}, argument);
        }
        const std::string rows = RowsOf(c.entry, c.rest);
        for (const std::string& usual : c.holds) {
            const std::string text = Expected(c.behaviour, usual);
            const bool is_quoted = text.starts_with('"');
            const std::string held = is_quoted ? text : "\"" + GetParam().Name(text) + "\"";
            EXPECT_NE(rows.find(held), std::string::npos) << c.entry << ": " << rows;
        }
    }
}

TEST_P(Catalogs, DescribeTypesAndTheSource)
{
    const std::string rows = RowsOf("GetTypeInfo", {4});
    EXPECT_NE(rows.find(", \"4\", "), std::string::npos) << rows;
    constexpr int kProductName = 17;
    EXPECT_EQ(List("GetInfo", {connection, kProductName}), "\"" + GetParam().product + "\"");
    constexpr int kCursorCommitBehavior = 23;
    EXPECT_EQ(Call("GetInfo", {connection, kCursorCommitBehavior}).List().substr(0, 2),
              std::string("\x04\x01"))
        << "two bytes of a number";
}

INSTANTIATE_TEST_SUITE_P(Sources, Catalogs, testing::ValuesIn(Sources()), SourceTest::NameOf);

}  // namespace
