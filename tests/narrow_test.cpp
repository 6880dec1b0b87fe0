// The narrow shim over iODBC: what it forwards to, and what it reports if there is nothing.
#include <dlfcn.h>

#include <cstdio>
#include <sstream>

#include "drivers/driver_kind.h"
#include "gateway_fixture.h"
#include "shim_folder.h"

namespace {

class NarrowShim : public GatewayTest {
protected:
    std::string Copy(const std::string& name) const
    {
        return folder.Copy(ORVELGW_NARROW_SHIM, name);
    }
    std::string Connect(const std::string& driver) const
    {
        return std::string(Call("DSNConnect", {"DRIVER=" + driver + ";Database=:memory:"}).Bytes());
    }

    const ShimFolder folder{};
};

// ODBC's driver functions, and what ODBC 2 also needs; the wide shim has those with a W under both
// names.
constexpr char kFunctions[] =
    "AllocHandle BindCol BindParameter BrowseConnectW BulkOperations Cancel CloseCursor "
    "ColAttributeW ColumnPrivilegesW ColumnsW ConnectW CopyDesc DescribeColW DescribeParam "
    "Disconnect DriverConnectW EndTran ExecDirectW Execute ExtendedFetch Fetch FetchScroll "
    "ForeignKeysW FreeHandle FreeStmt GetConnectAttrW GetCursorNameW GetData GetDescFieldW "
    "GetDescRecW GetDiagFieldW GetDiagRecW GetEnvAttr GetFunctions GetInfoW GetStmtAttrW "
    "GetTypeInfoW MoreResults NativeSqlW NumParams NumResultCols ParamData PrepareW "
    "PrimaryKeysW ProcedureColumnsW ProceduresW PutData RowCount SetConnectAttrW SetCursorNameW "
    "SetDescFieldW SetDescRec SetEnvAttr SetPos SetStmtAttrW SpecialColumnsW StatisticsW "
    "TablePrivilegesW TablesW ";

TEST_F(NarrowShim, ExportsWhatEveryDriverHasAndTheWideShimMore)
{
    for (const char* file : {ORVELGW_NARROW_SHIM, ORVELGW_WIDE_SHIM}) {
        const bool is_wide = std::string_view(file) == ORVELGW_WIDE_SHIM;
        void* shim = dlopen(file, RTLD_LAZY);
        const auto exports = [&](const std::string& name) {
            return dlsym(shim, ("SQL" + name).c_str()) != nullptr;
        };
        std::istringstream names(kFunctions);
        for (std::string name; names >> name;) {
            const bool has_wide = name.back() == 'W';
            EXPECT_EQ(exports(name), !has_wide || is_wide) << file << name;
            EXPECT_TRUE(exports(name.substr(0, name.size() - (has_wide ? 1 : 0)))) << file << name;
        }
        for (const char* absent : {"BindParam", "SetParam", "Error", "ErrorW", "ColAttributes",
                                   "ColAttributesW", "Transact", "SetConnectOption"}) {
            EXPECT_FALSE(exports(absent)) << file << absent;
        }
        dlclose(shim);
    }
}

#ifndef __SANITIZE_ADDRESS__  // which refuses what keeps the driver's calls inside it
TEST_F(NarrowShim, KeepsTheDriversCallsInsideIt)
{
    void* driver_manager = dlopen("libiodbc.so.2", RTLD_NOW | RTLD_GLOBAL);
    ASSERT_NE(driver_manager, nullptr);
    folder.Link(NARROW_DRIVER, "calling.so");
    const std::string connection = Connect(Copy("narrow-calling.so"));
    EXPECT_EQ(connection.size(), 8U) << List("GetSQLErrors", {"", ""});
    EXPECT_EQ(Code("Disconnect", {connection}), 0);
    dlclose(driver_manager);
}
#endif

TEST_F(NarrowShim, SaysWhyThereIsNoDriver)
{
    Dl_info library{};
    ASSERT_NE(dladdr(reinterpret_cast<void*>(&std::fopen), &library), 0);
    folder.Link(library.dli_fname, "libc.so.6");
    folder.Link(LoadedDriverManager().file, "libiodbc.so.2");
    const std::string self = Copy("narrow-self.so");
    folder.Link(self, "self.so");
    const std::pair<std::string, std::string> cases[] = {
        {Copy("narrow-nothing.so"), (folder.path / "nothing.so").string() + ": cannot open"},
        {Copy("narrow-nothing2.so"), "/odbc/nothing2.so: cannot open"},
        {Copy("narrow-libc.so.6"), "libc.so.6: no ODBC driver, as it has no SQLConnect"},
        {Copy("narrow-libiodbc.so.2"), "libiodbc.so.2: this is a driver manager"},
        {self, "self.so: this is the shim itself"},
        {Copy("shim.so"), "shim.so: a driver is named by a link to it"},
        {Copy("narrow-"), "a driver is named by a link to it"},
    };
    for (const auto& [driver, reason] : cases) {
        for (const int legacy : {0, 1, 0}) {
            Code("SetLegacyOption", {legacy});
            EXPECT_EQ(Connect(driver), "");
            EXPECT_EQ(WasError(), -1);
            const std::string line = List("GetSQLErrors", {"", ""});
            EXPECT_NE(line.find("(IM003)"), std::string::npos) << line;
            EXPECT_NE(line.find(reason), std::string::npos) << line;
        }
    }
}

}  // namespace
