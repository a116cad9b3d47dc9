// entries and prepare: the table of application entries, and the protector that is found by it.

#include <algorithm>
#include <optional>

#include "tools/commands.h"
#include "tools/failure.h"
#include "tools/session.h"

namespace tools {
namespace {

const std::string table = "3f00a1a1";
constexpr std::uint64_t labelBytes = 30;
constexpr std::uint64_t entryBytes = 9;
constexpr std::uint32_t protectorId = 0x30003000;

std::vector<ksigil_entry> entriesOf(Session& session) {
    std::vector<ksigil_entry> entries(KSIGIL_MAX_ENTRIES);
    std::size_t count = 0;
    session.look("cannot read the application entries", [&](ksigil_token* token) {
        return ksigil_list_entries(token, entries.data(), entries.size(), &count);
    });
    entries.resize(count);
    return entries;
}

ksigil_entry entryWith(Session& session, std::uint32_t id) {
    ksigil_entry entry{id, {}};
    session.look("cannot read the application's entry",
                 [&](ksigil_token* token) { return ksigil_get_entry(token, id, entry.content); });
    return entry;
}

// The table is removed and written anew: where the token has no room for a longer one, it would be
// lost.
void requireRoomFor(Session& session, std::uint32_t id) {
    const std::vector<ksigil_entry> entries = entriesOf(session);
    const bool isThere = std::any_of(entries.begin(), entries.end(),
                                     [=](const ksigil_entry& one) { return one.id == id; });
    if (!isThere && entries.size() == KSIGIL_MAX_ENTRIES) {
        throw Failure("the table of application entries is full: remove one first");
    }
    const std::uint64_t needed = session.find(table) ? entryBytes : labelBytes + entryBytes;
    const std::uint64_t free = session.freeBytes();
    if (!isThere && free < needed) {
        throw Failure("the token has " + std::to_string(free) +
                      " bytes free, and one more application entry needs " +
                      std::to_string(needed) + ": remove something");
    }
}

ksigil_protector protectorOf(Session& session) {
    ksigil_protector protector{};
    session.look("cannot look for the protector",
                 [&](ksigil_token* token) { return ksigil_get_protector(token, &protector); });
    return protector;
}

void tellProtector(Session& session, const ksigil_protector& before, Report& report) {
    const auto doneTo = [](int wasThere) { return wasThere != 0 ? "was there" : "made"; };
    const ksigil_protector now = protectorOf(session);
    if (now.has_entry != 0) {
        report.add(entryWith(session, protectorId), doneTo(before.has_entry));
    }
    if (now.has_directory != 0) {
        report.add(now.directory, session.object(now.directory), doneTo(before.has_directory));
    }
    if (now.has_key != 0) {
        report.add(now.key, session.object(now.key), doneTo(before.has_key));
    }
}

}  // namespace

void listEntries(const Options& options, Report& report) {
    Session session(options);
    session.run([&] {
        const std::vector<ksigil_entry> entries = entriesOf(session);
        report.entries.emplace();
        for (const ksigil_entry& entry : entries) {
            report.add(entry);
        }
    });
    report.style = Report::Style::details;
}

void getEntry(const Options& options, Report& report) {
    Session session(options);
    session.run([&] { report.add(entryWith(session, options.entry)); });
    report.style = Report::Style::details;
}

void setEntry(const Options& options, Report& report) {
    Session session(options);
    session.run([&] {
        requireRoomFor(session, options.entry);
        session.stand("the application entries may be lost");
        session.change("cannot set the application's entry", [&](ksigil_token* token) {
            return ksigil_set_entry(token, options.entry, options.content.data());
        });
        session.stand("the entry is set");
        report.add(entryWith(session, options.entry), "set");
    });
}

void removeEntry(const Options& options, Report& report) {
    Session session(options);
    session.run([&] {
        const ksigil_entry entry = entryWith(session, options.entry);
        session.stand("the application entries may be lost");
        session.change("cannot remove the application's entry", [&](ksigil_token* token) {
            return ksigil_remove_entry(token, options.entry);
        });
        session.stand("the entry is removed");
        report.add(entry, "removed");
    });
}

void prepare(const Options& options, Report& report) {
    std::optional<ksigil_protector> before;
    int isWeak = 0;
    Session session(options);
    session.run([&] {
        if (!before) {
            before = protectorOf(session);
        }
        requireRoomFor(session, protectorId);
        session.stand(
            "run it again, once \"ksigil ls -lR\" shows what is there; a key made without "
            "its value has to be removed first");
        session.change("cannot prepare the token", [&](ksigil_token* token) {
            return ksigil_prepare_protector(token, &isWeak);
        });
        tellProtector(session, *before, report);
    });
    report.style = Report::Style::done;
    if (isWeak != 0) {
        tellAside("the system has no random source: this key keeps nothing secret");
    }
}

}  // namespace tools
