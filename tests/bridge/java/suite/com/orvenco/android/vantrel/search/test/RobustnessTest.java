package com.orvenco.android.vantrel.search.test;

import static com.orvenco.android.vantrel.search.NativeHandler.*;
import static com.orvenco.android.vantrel.search.test.Harness.check;
import static com.orvenco.android.vantrel.search.test.Harness.checkEquals;
import static com.orvenco.android.vantrel.search.test.HostApp.*;

import com.orvenco.android.vantrel.search.SearchImpl;
import com.orvenco.android.vantrel.search.Utils;
import java.nio.file.Path;
import java.util.Set;
import java.util.concurrent.atomic.AtomicInteger;
import java.util.stream.IntStream;

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
        SearchImpl.setDataProcessor(INDEX, (name, count, fields, values) -> {
            processed.incrementAndGet();
            return values;
        });
        try (HostApp app = new HostApp(dir)) {
            app.startHooked();
            app.insert("c1", "张三", "kestrel");
            for (int i = 0; i < CALLS; i++) {
                check(app.find("zhangsan").contains("c1"), "search");
                check(native_search(INDEX, "name", "zs", 0, 5, true) != null, "field search");
                check(Utils.native_highlight_abstract("我和张三丰说", "zs", 10) != null, "hl");
                check(Utils.native_convert_pinyin("张", 3) != null, "pinyin");
                native_sign_str_hash(new String[] {"abcd", "ef", null}, i);
                check(native_index_version() != null, "version");
                check(native_get_table_record(INDEX, DB, TABLE) != null, "record");
                // Alternating values, so half of the calls change the document.
                check(native_modify_doc(INDEX, DB, TABLE, "m1",
                        new Object[] {"李四", (i % 2 == 0) ? "even" : "odd"}) == 0, "modify");
                native_del_doc(INDEX, DB, TABLE, "absent");
                native_set_auto_save(INDEX, DB, TABLE, i % 2 == 0);
                native_get_del_num("default");
                native_set_max_rawid(INDEX, DB, TABLE, 1);
                native_base_weight();
            }
            checkEquals(Set.of("m1"), app.find("lisi"), "modified document");

            // Loops inside one native call: a reference leaked per iteration
            // would pile up in that call's frame.
            checkEquals(0, HostApp.log("line", CALLS), "log loop");
            check(logged.get() >= CALLS, "log lines delivered");
            app.exec("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < "
                    + CALLS + ") INSERT INTO contact SELECT 'h' || i, '王五', 'bulk ' || i FROM n");
            checkEquals(CALLS + 1, processed.get(), "hooked rows processed");
            // Elements that are not strings are indexed by their text.
            Object[] wide = IntStream.range(0, 2000)
                    .mapToObj(i -> (i % 3 == 0) ? null : (i % 3 == 1) ? "w" + i : (Object) i)
                    .toArray();
            native_modify_doc(INDEX, DB, TABLE, "wide", wide);
            native_modify_doc(INDEX, DB, TABLE, "n1", new Object[] {"赵六", 987654});
            checkEquals(Set.of("n1"), app.find("987654"), "number element indexed");
        }
    }

    static void nullArguments(Path dir) {
        // No engine: everything that needs one refuses.
        Harness.checkAll(-1, "without engine", native_set_log_callback(),
                native_set_index_dataFunc("x"), native_addDB("a", "b", "c", false),
                native_add_index_for_table("i", "d", "t", "k", "f", "", "", "", "", null),
                native_hook_db("a", 1L), native_scan_table("a", "b", "c"),
                native_modify_doc("i", "d", "t", "k", new Object[] {"v"}),
                native_del_doc("i", "d", "t", "k"), native_get_del_num("default"),
                native_set_auto_save("i", "d", "t", true), native_init_engine(null, 0),
                native_init_engine("", 0));
        Harness.checkAll(null, "without engine", native_search("i", null, "q", 0, 10, false),
                native_get_table_record("i", "d", "t"));
        native_ellipse_index("default", true);  // nothing to do, no crash

        try (HostApp app = new HostApp(dir)) {
            app.startEngine();
            Harness.checkAll(-1, "null arguments", native_add_index_for_table(null, null, null,
                    null, null, null, null, null, null, null), native_addDB(null, null, null, false),
                    native_hook_db(null, app.conn), native_hook_db(DB, 0L),
                    native_hook_db(DB, 12345), // an int handle on a 64-bit VM
                    native_stop_hook_db(null), native_scan_table(null, null, null),
                    native_modify_doc(INDEX, DB, TABLE, "k", null),
                    native_modify_doc(null, null, null, null, new Object[] {"v"}),
                    native_del_doc(null, null, null, null), native_get_del_num(null),
                    native_sign_str_hash(null, 0));
            // With an engine running these report success whatever the names.
            Harness.checkAll(0, "accepted", native_set_index_dataFunc(null),
                    native_set_auto_save(null, null, null, true),
                    native_set_max_rawid(null, null, null, 5));
            native_ellipse_index(null, true);
            Harness.checkAll(null, "null text", native_search(null, null, "q", 0, 10, false),
                    native_search(INDEX, null, null, 0, 10, false),
                    native_search(INDEX, null, "q", 0, 0, false),
                    native_get_table_record(null, DB, TABLE),
                    Utils.native_highlight_abstract(null, "q", 10),
                    Utils.native_highlight_abstract("text", null, 10),
                    Utils.native_highlight_abstract("text", "text", 0),
                    Utils.native_convert_pinyin(null, 3), Utils.native_convert_pinyin("张", 9),
                    Utils.native_convert_pinyin("张", -1));
            checkEquals(native_sign_str_hash(new String[] {"abcd"}, 3),
                    native_sign_str_hash(new String[] {null, "abcd"}, 3), "null element skipped");
            // The engine still works afterwards.
            app.insert("c1", "张三", "still fine");
            check(app.scanAll() >= 1, "scan");
            checkEquals(Set.of("c1"), app.find("张三"), "search");
        }
    }
}
