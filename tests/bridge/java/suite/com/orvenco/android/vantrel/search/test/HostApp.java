package com.orvenco.android.vantrel.search.test;

import static com.orvenco.android.vantrel.search.NativeHandler.*;
import static com.orvenco.android.vantrel.search.test.Harness.check;
import static com.orvenco.android.vantrel.search.test.Harness.checkEquals;

import java.nio.file.Path;
import java.util.Set;

/**
 * What the application sets up: an encrypted database "app" with a contact table, and the
 * engine on a root beside it with the index "contacts" (name searchable by pinyin, note as text).
 */
final class HostApp implements AutoCloseable {
    static final String KEY = "s3cret-key";
    static final String DB = "app";
    static final String TABLE = "contact";
    static final String INDEX = "contacts";

    final String root;
    final String dbPath;
    final long conn;

    HostApp(Path dir) {
        root = dir.resolve("root").toString();
        dbPath = dir.resolve("app.db").toString();
        conn = TestDb.open(dbPath, KEY);
        check(conn != 0, "open " + dbPath);
        TestDb.execOk(conn, "CREATE TABLE IF NOT EXISTS contact(cid TEXT, name TEXT, note TEXT)");
    }

    /** Starts the engine, registers the database and the index. */
    void startEngine() {
        checkEquals(0, native_init_engine(root, 0), "init");
        checkEquals(0, native_addDB(DB, dbPath, KEY, false), "addDB");
        checkEquals(0, native_add_index_for_table(INDEX, DB, TABLE, "cid", "name,note", "",
                "name", "", "", null), "add index");
    }

    void insert(String cid, String name, String note) {
        TestDb.execOk(conn, "INSERT INTO contact(cid, name, note) VALUES('" + cid + "','" + name
                + "','" + note + "')");
    }

    /** Scans until a batch reports 0; the rows sent over all batches. */
    int scanAll() {
        int total = 0;
        for (int batch = 0; batch < 1000; batch++) {
            int sent = native_scan_table(DB, TABLE, INDEX);
            check(sent >= 0, "scan batch " + batch + " gave " + sent);
            if (sent == 0) {
                return total;
            }
            total += sent;
        }
        throw new AssertionError("scan never finished");
    }

    String search(String query) {
        return native_search(INDEX, null, query, 0, 1000, false);
    }

    Set<String> find(String query) {
        return Harness.pkeys(search(query));
    }

    @Override
    public void close() {
        native_release_engine();
        TestDb.close(conn);
    }
}
