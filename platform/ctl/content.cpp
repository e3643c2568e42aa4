#include "content.h"

#include "boundary.h"
#include "certificate_text.h"
#include "store_view.h"

#include <algorithm>
#include <map>

namespace wincryptctl {

using namespace wincrypt;

namespace {

// A certificate's row number is its store's number and its place there.
constexpr int placeBits = 40;

std::string textOf(ByteView bytes) { return {bytes.begin(), bytes.end()}; }
Bytes copyOf(ByteView bytes) { return {bytes.begin(), bytes.end()}; }

bool isDamage(DWORD error) { return error == ERROR_FILE_CORRUPT || error == ERROR_IO_DEVICE; }

class Reader {
public:
    Reader(Connection& connection, Findings& findings) : connection_(connection), findings_(findings) {}

    Content read() {
        tryTo("the list of stores", [&] {
            Statement query = connection_.prepare(Query::everyStore);
            while (query.step())
                stores_[query.integer(0)] = textOf(query.bytes(1));
        });
        for (std::int64_t const row :
             rowsOf("certificate", Query::certificateRows, Query::certificateRowsByIndex))
            readCertificate(row);
        std::map<std::int64_t, ContainerEntry> containers;
        for (std::int64_t const row : rowsOf("container", Query::containerRows, Query::containerRowsByIndex))
            if (auto container = readContainer(row))
                containers.emplace(row, std::move(*container));
        for (std::int64_t const row : rowsOf("key", Query::keyRows, Query::keyRowsByIndex))
            readKey(row, containers);
        for (auto& [row, container] : containers) {
            std::sort(container.keys.begin(), container.keys.end(),
                      [](auto const& a, auto const& b) { return a.slot < b.slot; });
            content_.containers.push_back(std::move(container));
        }
        std::sort(content_.containers.begin(), content_.containers.end(),
                  [](auto const& a, auto const& b) { return a.name < b.name; });
        return std::move(content_);
    }

private:
    void damaged(std::string const& object, std::string const& text) {
        findings_.push_back({Finding::Kind::damaged, object, text});
    }

    // False when what the body reads is damaged, which is told then.
    template <class Body>
    bool tryTo(std::string const& object, Body&& body, char const* text = "can't be read to its end") {
        DWORD const error = outcome(std::forward<Body>(body));
        if (error != ERROR_SUCCESS && !isDamage(error))
            fail(error);
        if (error != ERROR_SUCCESS)
            damaged(object, text);
        return error == ERROR_SUCCESS;
    }

    std::vector<std::int64_t> rowsOf(std::string const& table, Query byTable, Query byIndex) {
        std::vector<std::int64_t> rows;
        for (auto const& [query, object] :
             {std::pair(byTable, "table " + table), std::pair(byIndex, "index of table " + table)})
            if (!tryTo(object,
                       [&, road = query] {
                           Statement statement = connection_.prepare(road);
                           while (statement.step())
                               rows.push_back(statement.integer(0));
                       }) &&
                query == byTable)
                content_.areReferencesKnown = false;
        std::sort(rows.begin(), rows.end());
        rows.erase(std::unique(rows.begin(), rows.end()), rows.end());
        return rows;
    }

    // Runs the body on the row; tells when there is none or it can't be read.
    template <class Body>
    bool readRow(std::string const& object, Query query, std::int64_t row, Body&& body) {
        bool found = false;
        bool const readable = tryTo(
            object,
            [&] {
                Statement statement = connection_.prepare(query);
                if ((found = statement.bind(1, row).step()))
                    body(statement);
            },
            "can't be read");
        if (readable && !found)
            damaged(object, "stands in an index, but isn't there");
        return readable && found;
    }

    void readCertificate(std::int64_t row) {
        std::int64_t const place = row & ((std::int64_t{1} << placeBits) - 1);
        auto const store = stores_.find(row >> placeBits);
        CertificateEntry entry;
        entry.store = store != stores_.end() ? store->second : "#" + std::to_string(row >> placeBits);
        std::string const object = "store " + entry.store + ", certificate " + std::to_string(place);
        if (store == stores_.end())
            damaged(object, "its store isn't there");
        bool const read = readRow(object, Query::certificateAt, row, [&](Statement& columns) {
            ByteView const encoding = columns.bytes(3);
            CertificateFields fields;
            if (!parseCertificate(encoding, fields)) {
                damaged(object, "doesn't decode");
            } else {
                entry.name = subjectText(encoding);
                entry.serial = serialText(fields.serialNumber);
                if (identityOf(fields.issuer, fields.serialNumber) != columns.integer(0))
                    damaged(object, "its identity isn't that of its issuer and serial number");
            }
            if (!columns.isNull(2))
                tryTo(
                    object,
                    [&] {
                        if (std::string const name = friendlyNameText(columns.bytes(2)); !name.empty())
                            entry.name = name;
                    },
                    "its friendly name doesn't decode");
            if (!columns.isNull(1) && !tryTo(
                                          object,
                                          [&] {
                                              DWORD length = 0;
                                              deliverKeyInfo(columns.bytes(1), nullptr, &length);
                                              entry.reference = readKeyReference(columns.bytes(1));
                                          },
                                          "its key reference doesn't decode"))
                content_.areReferencesKnown = false;
        });
        if (read)
            content_.certificates.push_back(std::move(entry));
        else
            content_.areReferencesKnown = false;
    }

    std::optional<ContainerEntry> readContainer(std::int64_t row) {
        std::string const object = "container number " + std::to_string(row);
        std::optional<ContainerEntry> entry;
        readRow(object, Query::containerAt, row, [&](Statement& columns) {
            if (columns.isNull(0))
                damaged(object, "its name isn't a text");
            else
                entry = ContainerEntry{row, textOf(columns.bytes(0)), {}};
        });
        return entry;
    }

    void readKey(std::int64_t row, std::map<std::int64_t, ContainerEntry>& containers) {
        std::string const object = "key number " + std::to_string(row);
        readRow(object, Query::keyAt, row, [&](Statement& columns) {
            std::int64_t const slot = columns.integer(1);
            std::int64_t const flags = columns.integer(2);
            auto const container = containers.find(columns.integer(0));
            if (container == containers.end())
                return damaged(object, "its container isn't there");
            std::string const owner = "container " + container->second.name;
            if (slot != AT_KEYEXCHANGE && slot != AT_SIGNATURE)
                return damaged(owner, "has a key in slot " + std::to_string(slot));
            if (flags != 0 && flags != CRYPT_EXPORTABLE)
                damaged(owner, std::string(slotName(static_cast<DWORD>(slot))) + " key: has flags " +
                                   std::to_string(flags));
            container->second.keys.push_back(
                {static_cast<DWORD>(slot), static_cast<DWORD>(flags),
                 SealedKey{copyOf(columns.bytes(3)), copyOf(columns.bytes(4)), copyOf(columns.bytes(5))}});
        });
    }

    Connection& connection_;
    Findings& findings_;
    std::map<std::int64_t, std::string> stores_;
    Content content_;
};

} // namespace

Content readContent(Connection& connection, Findings& findings) {
    connection.execute("BEGIN");
    Content content;
    DWORD const error = outcome([&] { content = Reader(connection, findings).read(); });
    DWORD const ended = outcome([&] { connection.execute("ROLLBACK"); });
    if (error != ERROR_SUCCESS || ended != ERROR_SUCCESS)
        fail(error != ERROR_SUCCESS ? error : ended);
    return content;
}

char const* slotName(DWORD slot) { return slot == AT_KEYEXCHANGE ? "exchange" : "signature"; }

std::string labelOf(CertificateEntry const& certificate) {
    return certificate.store + ": " + certificate.name +
           (certificate.serial.empty() ? "" : " (" + certificate.serial + ')');
}

} // namespace wincryptctl
