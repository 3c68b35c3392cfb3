package com.orvenco.android.vantrel.search.test;

import static com.orvenco.android.vantrel.search.NativeHandler.*;
import static com.orvenco.android.vantrel.search.test.Harness.check;
import static com.orvenco.android.vantrel.search.test.Harness.checkEquals;
import static com.orvenco.android.vantrel.search.test.Harness.keys;

import com.orvenco.android.vantrel.search.SearchImpl;
import com.orvenco.android.vantrel.search.Utils;
import java.nio.file.Path;
import java.util.concurrent.atomic.AtomicInteger;

/**
 * Many calls of every kind under -Xcheck:jni (a leaked local reference or a call made with an
 * exception pending shows as a JNI warning, which fails the test), and null arguments.
 */
final class RobustnessTest {
    private RobustnessTest() {}

    private static final int CALLS = 10_000;

    static void noLeakedReferences(Path dir) {
        AtomicInteger logged = new AtomicInteger();
        AtomicInteger processed = new AtomicInteger();
        SearchImpl.setLogSink(line -> logged.incrementAndGet());
        SearchImpl.setDataProcessor(HostApp.INDEX, (name, count, fields, values) -> {
            processed.incrementAndGet();
            return values;
        });
        try (HostApp app = new HostApp(dir)) {
            app.startEngine();
            checkEquals(0, native_set_log_callback(), "log callback");
            checkEquals(0, native_set_index_dataFunc(HostApp.INDEX), "data func");
            app.insert("c1", "张三", "kestrel");
            check(app.scanAll() >= 1, "scanned");
            checkEquals(0, native_hook_db(HostApp.DB, app.conn), "hook");

            for (int i = 0; i < CALLS; i++) {
                check(app.search("zhangsan") != null, "search");
                check(native_search(HostApp.INDEX, "name", "zs", 0, 5, true) != null, "field");
                check(Utils.native_highlight_abstract("我和张三丰说", "zs", 10) != null, "hl");
                check(Utils.native_highlight_abstract("abc", "xyz", 10) == null, "hl miss");
                check(Utils.native_convert_pinyin("张", 3) != null, "pinyin");
                native_sign_str_hash(new String[] {"abcd", "ef", null}, i);
                check(native_index_version() != null, "version");
                check(native_get_table_record(HostApp.INDEX, HostApp.DB, HostApp.TABLE) != null,
                        "record");
                // Alternating values, so half of the calls change the document.
                checkEquals(0, native_modify_doc(HostApp.INDEX, HostApp.DB, HostApp.TABLE, "m1",
                        new Object[] {"李四", (i % 2 == 0) ? "even" : "odd"}), "modify");
                native_get_del_num("default");
                native_set_max_rawid(HostApp.INDEX, HostApp.DB, HostApp.TABLE, 1);
                native_base_weight();
            }
            checkEquals(keys("m1"), app.find("lisi"), "modified document");

            // Loops inside one native call: a reference leaked per iteration
            // would pile up in that call's frame.
            int linesBefore = logged.get();
            checkEquals(0, TestDb.log("line", CALLS), "log loop");
            check(logged.get() - linesBefore >= CALLS, "log lines delivered");
            int before = processed.get();
            TestDb.execOk(app.conn, "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1"
                    + " FROM n WHERE i < " + CALLS + ") INSERT INTO contact(cid, name, note)"
                    + " SELECT 'h' || i, '王五', 'bulk ' || i FROM n");
            checkEquals(CALLS, processed.get() - before, "hooked rows processed");
            Object[] wide = new Object[2000];
            for (int i = 0; i < wide.length; i++) {
                wide[i] = (i % 3 == 0) ? null : (i % 3 == 1) ? "w" + i : Integer.valueOf(i);
            }
            native_modify_doc(HostApp.INDEX, HostApp.DB, HostApp.TABLE, "wide", wide);
            // Elements that are not strings are indexed by their text.
            checkEquals(0, native_modify_doc(HostApp.INDEX, HostApp.DB, HostApp.TABLE, "n1",
                    new Object[] {"赵六", 987654}), "number element");
            checkEquals(keys("n1"), app.find("987654"), "number element indexed");
        } finally {
            SearchImpl.setDataProcessor(HostApp.INDEX, null);
            SearchImpl.setLogSink(null);
        }
    }

    static void nullArguments(Path dir) {
        // No engine: everything that needs one refuses.
        checkEquals(-1, native_set_log_callback(), "log callback");
        checkEquals(-1, native_set_index_dataFunc("x"), "data func");
        checkEquals(-1, native_addDB("a", "b", "c", false), "addDB");
        checkEquals(-1, native_add_index_for_table("i", "d", "t", "k", "f", "", "", "", "", null),
                "add index");
        checkEquals(-1, native_hook_db("a", 1L), "hook");
        checkEquals(-1, native_scan_table("a", "b", "c"), "scan");
        checkEquals(null, native_search("i", null, "q", 0, 10, false), "search");
        checkEquals(-1, native_modify_doc("i", "d", "t", "k", new Object[] {"v"}), "modify");
        checkEquals(-1, native_del_doc("i", "d", "t", "k"), "del");
        checkEquals(-1, native_get_del_num("default"), "del num");
        checkEquals(-1, native_set_auto_save("i", "d", "t", true), "auto-save");
        checkEquals(null, native_get_table_record("i", "d", "t"), "record");
        native_ellipse_index("default", true);
        checkEquals("0.1.0", native_index_version(), "version without engine");

        checkEquals(-1, native_init_engine(null, 0), "null root");
        checkEquals(-1, native_init_engine("", 0), "empty root");
        try (HostApp app = new HostApp(dir)) {
            app.startEngine();
            checkEquals(null, native_search(null, null, "q", 0, 10, false), "null index");
            checkEquals(null, native_search(HostApp.INDEX, null, null, 0, 10, false), "null query");
            checkEquals(null, native_search(HostApp.INDEX, null, "q", 0, 0, false), "num 0");
            checkEquals(-1, native_add_index_for_table(null, null, null, null, null, null, null,
                    null, null, null), "add index");
            checkEquals(-1, native_addDB(null, null, null, false), "addDB");
            checkEquals(-1, native_hook_db(null, app.conn), "hook null name");
            checkEquals(-1, native_hook_db(HostApp.DB, 0L), "hook null connection");
            checkEquals(-1, native_hook_db(HostApp.DB, 12345), "int handle on a 64-bit VM");
            checkEquals(-1, native_stop_hook_db(null), "stop hook");
            checkEquals(-1, native_scan_table(null, null, null), "scan");
            // With an engine running the call reports success whatever the name.
            checkEquals(0, native_set_index_dataFunc(null), "data func null");
            checkEquals(0, native_set_index_dataFunc(""), "data func empty");
            checkEquals(-1, native_modify_doc(HostApp.INDEX, HostApp.DB, HostApp.TABLE, "k",
                    null), "modify null values");
            checkEquals(-1, native_modify_doc(null, null, null, null, new Object[] {"v"}),
                    "modify null names");
            checkEquals(-1, native_del_doc(null, null, null, null), "del");
            checkEquals(-1, native_get_del_num(null), "del num");
            checkEquals(0, native_set_auto_save(null, null, null, true), "auto-save");
            checkEquals(null, native_get_table_record(null, HostApp.DB, HostApp.TABLE), "record");
            checkEquals(0, native_set_max_rawid(null, null, null, 5), "max rowid");
            native_ellipse_index(null, true);
            checkEquals(-1, native_sign_str_hash(null, 0), "hash");
            checkEquals(native_sign_str_hash(new String[] {"abcd"}, 3),
                    native_sign_str_hash(new String[] {null, "abcd"}, 3), "null element skipped");
            checkEquals(null, Utils.native_highlight_abstract(null, "q", 10), "hl text");
            checkEquals(null, Utils.native_highlight_abstract("text", null, 10), "hl query");
            checkEquals(null, Utils.native_highlight_abstract("text", "text", 0), "hl length");
            checkEquals(null, Utils.native_convert_pinyin(null, 3), "pinyin null");
            checkEquals(null, Utils.native_convert_pinyin("张", 9), "length past the text");
            checkEquals(null, Utils.native_convert_pinyin("张", -1), "negative length");
            // The engine still works afterwards.
            app.insert("c1", "张三", "still fine");
            check(app.scanAll() >= 1, "scan");
            checkEquals(keys("c1"), app.find("张三"), "search");
        }
    }
}
