#include "tool/shell/NameCache.h"

#include <chrono>
#include <exception>
#include <functional>
#include <utility>

#include "client/HostServices.h"
#include "tool/commands/catalog.h"

namespace {

constexpr std::chrono::milliseconds kPatience{400};
constexpr std::size_t kMostNames = 20'000;

}  // namespace

NameCache::Names NameCache::NamesOf(const std::string& key, const std::function<Names()>& read)
{
    if (const auto found = known_.find(key); found != known_.end()) {
        return found->second;
    }
    if (!reading_.valid()) {
        is_unwanted_ = false;
        key_ = key;
        reading_ = std::async(std::launch::async, [read] {
            const TraceScope silence(nullptr);  // of what nobody asked for
            try {
                return read();
            } catch (const std::exception&) {
                return Names();
            }
        });
    }
    if (reading_.wait_for(kPatience) != std::future_status::ready) {
        return {};
    }
    known_[key_] = reading_.get();
    return key_ == key ? known_[key_] : NamesOf(key, read);
}

std::vector<std::string> NameCache::Tables(const Session& session)
{
    return NamesOf("", [this, &session] {
        std::size_t count = 0;
        return TableNames(session, [&] { return MayGoOn() && ++count < kMostNames; });
    });
}

std::vector<std::string> NameCache::Columns(const Session& session, const std::string& table)
{
    return NamesOf(table, [this, &session, table] {
        return ColumnNames(session, table, [this] { return MayGoOn(); });
    });
}

void NameCache::Wait()
{
    if (reading_.valid()) {
        is_unwanted_ = reading_.wait_for(std::chrono::seconds(0)) != std::future_status::ready;
        Names names = reading_.get();
        if (!is_unwanted_) {
            known_[key_] = std::move(names);
        }
    }
}

void NameCache::Forget()
{
    Wait();
    known_.clear();
}
