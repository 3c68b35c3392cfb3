package com.orvenco.android.vantrel.search.test;

import static com.orvenco.android.vantrel.search.NativeHandler.*;
import static com.orvenco.android.vantrel.search.test.HostApp.*;

import com.orvenco.android.vantrel.search.SearchImpl;
import com.orvenco.android.vantrel.search.Utils;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Set;
import java.util.concurrent.CopyOnWriteArrayList;
import java.util.concurrent.atomic.AtomicBoolean;
import java.util.concurrent.atomic.AtomicInteger;
import java.util.stream.IntStream;

/**
 * The host callbacks called directly with chosen lines and rows and from many threads; many calls
 * of every kind (a leaked local reference or a call made with an exception pending shows as a JNI
 * warning, which fails the test); null arguments.
 */
final class BridgeTest {
    private BridgeTest() {}

    private static final int CALLS = 10_000;

    static void logLines(Path dir) {
        List<String> lines = new CopyOnWriteArrayList<>();
        SearchImpl.setLogSink(lines::add);
        checkEquals(0, HostApp.log("plain line \n", 1), "result");
        // A cut inside a three-byte character leaves one replacement character,
        // not bytes Java cannot read; characters beyond U+FFFF arrive whole.
        for (String text : List.of("x".repeat(2000), "a" + "中".repeat(700), "emoji \uD83D\uDE00")) {
            HostApp.log(text, 1);
        }
        checkEquals(List.of("plain line \n", "x".repeat(1023), "a" + "中".repeat(340) + "\uFFFD",
                "emoji \uD83D\uDE00"), lines, "lines");
        // A sink that throws does not leave the exception pending in native code.
        SearchImpl.setLogSink(line -> {
            throw new IllegalStateException("sink failed");
        });
        checkEquals(0, HostApp.log("boom", 3), "throwing sink");
    }

    /** The row after the processor replied `reply` to it; a null reply throws instead. */
    private static List<String> process(String[] reply, int[] caps, String... values) {
        String seen = "idx|" + values.length + "|" + String.join(",", values);
        SearchImpl.setDataProcessor("idx", (name, count, fields, in) -> {
            checkEquals(seen, name + "|" + count + "|" + String.join(",", in), "row seen");
            checkEquals("f1", fields[1], "field names");
            if (reply == null) {
                throw new IllegalStateException("processor failed");
            }
            return reply;
        });
        checkEquals(0, HostApp.processRow(values, caps), "proc result");
        return Arrays.asList(values);
    }

    static void dataProcessing(Path dir) {
        int[] caps = {5, 5, 5};
        checkEquals(List.of("xxxxx", "", "yy"),
                process(new String[] {"xxxxx", null, "yy"}, caps, "1", "2", "3"),
                "rewritten, null empties");
        // One byte over the capacity: that value and every later one stay.
        checkEquals(List.of("ok", "2", "3"),
                process(new String[] {"ok", "123456", "zz"}, caps, "1", "2", "3"),
                "over capacity");
        // Capacities count bytes: 张三 is six.
        checkEquals(List.of("张三", "b"),
                process(new String[] {"张三", "张三"}, new int[] {6, 5}, "a", "b"), "bytes");
        // A shorter reply ends the copying where it ends; a throwing processor changes nothing.
        checkEquals(List.of("p", "b"), process(new String[] {"p"}, caps, "a", "b"), "short");
        checkEquals(List.of("a", "b"), process(null, caps, "a", "b"), "throwing processor");
        // A wide row: every element reference is released as it is used.
        String[] wide = IntStream.range(0, 300).mapToObj(i -> "v" + i).toArray(String[]::new);
        String[] upper = Arrays.stream(wide).map(String::toUpperCase).toArray(String[]::new);
        int[] wideCaps = IntStream.range(0, 300).map(i -> 8).toArray();
        checkEquals(Arrays.asList(upper), process(upper, wideCaps, wide), "wide row");
    }

    /** Hooked writes on one Java thread while others search and log. */
    static void severalThreads(Path dir) {
        final int rows = 300;
        AtomicInteger processed = new AtomicInteger();
        AtomicInteger logged = new AtomicInteger();
        AtomicInteger sent = new AtomicInteger();
        SearchImpl.setLogSink(line -> logged.incrementAndGet());
        SearchImpl.setDataProcessor(INDEX, (name, count, fields, values) -> {
            processed.incrementAndGet();
            return new String[] {values[0], values[1] + " tagged"};
        });
        try (HostApp app = new HostApp(dir)) {
            app.startHooked();
            AtomicBoolean writing = new AtomicBoolean(true);
            List<Runnable> jobs = new ArrayList<>();
            for (int r = 0; r < 3; r++) {
                jobs.add(() -> {
                    // Rows only ever get added: a later search never finds fewer.
                    for (int last = 0, found; writing.get(); last = found) {
                        found = app.find("zhangsan").size();
                        check(found >= last, "found " + found + " after " + last);
                        checkEquals(0, HostApp.log("line", 1), "log result");
                        sent.incrementAndGet();
                    }
                });
            }
            // The writer starts last, so the others are running while it writes.
            jobs.add(() -> {
                try {
                    for (int i = 0; i < rows; i++) {
                        app.insert("r" + i, "张三", "row" + i);
                    }
                } finally {
                    writing.set(false);
                }
            });
            inParallel(jobs);
            checkEquals(rows, processed.get(), "every hooked row processed");
            check(sent.get() > 0 && logged.get() >= sent.get(), "log lines delivered");
            checkEquals(rows, app.find("zhangsan").size(), "every row indexed");
            checkEquals(rows, app.find("tagged").size(), "processed values indexed");
        }
    }

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
        checkAll(-1, "without engine", native_set_log_callback(),
                native_set_index_dataFunc("x"), native_addDB("a", "b", "c", false),
                native_add_index_for_table("i", "d", "t", "k", "f", "", "", "", "", null),
                native_hook_db("a", 1L), native_scan_table("a", "b", "c"),
                native_modify_doc("i", "d", "t", "k", new Object[] {"v"}),
                native_del_doc("i", "d", "t", "k"), native_get_del_num("default"),
                native_set_auto_save("i", "d", "t", true), native_init_engine(null, 0),
                native_init_engine("", 0));
        checkAll(null, "without engine", native_search("i", null, "q", 0, 10, false),
                native_get_table_record("i", "d", "t"));
        native_ellipse_index("default", true);  // nothing to do, no crash

        try (HostApp app = new HostApp(dir)) {
            app.startEngine();
            checkAll(-1, "null arguments", native_add_index_for_table(null, null, null,
                    null, null, null, null, null, null, null), native_addDB(null, null, null, false),
                    native_hook_db(null, app.conn), native_hook_db(DB, 0L),
                    native_hook_db(DB, 12345), // an int handle on a 64-bit VM
                    native_stop_hook_db(null), native_scan_table(null, null, null),
                    native_modify_doc(INDEX, DB, TABLE, "k", null),
                    native_modify_doc(null, null, null, null, new Object[] {"v"}),
                    native_del_doc(null, null, null, null), native_get_del_num(null),
                    native_sign_str_hash(null, 0));
            // With an engine running these report success whatever the names.
            checkAll(0, "accepted", native_set_index_dataFunc(null),
                    native_set_auto_save(null, null, null, true),
                    native_set_max_rawid(null, null, null, 5));
            native_ellipse_index(null, true);
            checkAll(null, "null text", native_search(null, null, "q", 0, 10, false),
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
