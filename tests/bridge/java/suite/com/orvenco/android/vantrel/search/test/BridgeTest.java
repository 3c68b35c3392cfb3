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
import java.util.concurrent.atomic.AtomicInteger;
import java.util.stream.IntStream;
import java.util.zip.CRC32;

/**
 * The bridge end to end as the application uses it, its callbacks called directly, every call
 * kind many times on several threads at once, and null arguments.
 */
final class BridgeTest {
    private BridgeTest() {}

    /** The application's whole use of the engine, in the order it makes its calls. */
    static void appFlow(Path dir) {
        HostApp app = new HostApp(dir);
        app.insert("c1", "张三", "meeting about the kestrel survey");
        app.insert("c3", "王小明", "secret budget");
        // Stored as standard four-byte UTF-8, which Java strings cannot take as is.
        app.exec("INSERT INTO contact VALUES('e1', '表情', 'smile ' || char(128512))");
        app.exec("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 60)"
                + " INSERT INTO contact SELECT 'f' || i, '赵六', 'filler row ' || i FROM n");

        app.startEngine();
        checkEquals(0, native_set_log_callback(), "log callback");
        // The application hides one word of the notes from the index.
        List<String> notesSeen = new CopyOnWriteArrayList<>();
        SearchImpl.processor = (name, count, fields, values) -> {
            notesSeen.add(fields[1] + ":" + values[1]);
            return new String[] {values[0], values[1].replace("secret", "hidden")};
        };
        checkEquals(0, native_set_index_dataFunc(INDEX), "data func");

        int scanned = 0;
        for (int sent; (sent = native_scan_table(DB, TABLE, INDEX)) != 0; scanned += sent) {
            check(sent > 0, "scan gave " + sent);
        }
        check(scanned >= 64, "every row scanned");
        check(notesSeen.contains("note:smile \uD83D\uDE00"), "supplementary character intact");
        checkEquals(Set.of("c3"), app.find("hidden"), "processed value indexed");
        checkEquals(Set.of(), app.find("secret"), "original value not indexed");

        // Rows the application writes afterwards arrive through the hook.
        checkEquals(0, native_hook_db(DB, app.conn), "hook");
        app.insert("c4", "张伟", "secret hooked row");
        checkEquals(Set.of("c3", "c4"), app.find("hidden"), "hooked row processed");

        checkEquals(Set.of("c1"), app.find("张三"), "Chinese");
        checkEquals(Set.of("c1"), app.find("zhangsan"), "full pinyin");
        checkEquals(Set.of("c1"), app.find("zs"), "initials");
        checkEquals(Set.of("c1"), app.find("KESTR"), "Latin prefix");
        checkEquals(60, app.find("赵六").size(), "filler rows");

        checkEquals("我和<red>张三</red>丰说",
                Utils.native_highlight_abstract("我和张三丰说", "zs", 10), "highlight");
        checkEquals("zhang", Utils.native_convert_pinyin("张", 3), "pinyin");

        checkEquals(0, native_del_doc(INDEX, DB, TABLE, "c1"), "del");
        checkEquals(Set.of(), app.find("张三"), "deleted document");
        checkEquals(0, native_del_doc(INDEX, DB, TABLE, ""), "clear");
        checkEquals(Set.of(), app.find("赵六"), "cleared table");
        app.insert("c5", "孙八", "after the clear");
        checkEquals(Set.of("c5"), pkeys(native_get_table_record(INDEX, DB, TABLE)),
                "table record");

        checkEquals(0, native_set_auto_save(INDEX, DB, TABLE, true), "auto-save");
        check(native_get_del_num("default") > 60, "deleted documents counted");
        native_ellipse_index("default", true);
        checkEquals(0, native_get_del_num("default"), "compaction purged them");
        checkEquals(Set.of("c5"), app.find("sunba"), "still searchable after compaction");

        native_release_engine();
        // The configuration brings the table back without add_index_for_table.
        // A second start replaces the engine of the first.
        checkEquals(0, native_init_engine(app.root, 0), "init again");
        checkEquals(0, native_init_engine(app.root, 0), "init once more");
        checkEquals(Set.of("c5"), app.find("孙八"), "saved documents");
        checkEquals(0, native_addDB(DB, app.dbPath, KEY, false), "addDB");
        checkEquals(0, native_hook_db(DB, app.conn), "hook again");
        app.insert("c7", "吴十", "after the restart");
        checkEquals(Set.of("c7"), app.find("wushi"), "table watched again");

        checkEquals("0.1.0", native_index_version(), "version");
        checkEquals(20, native_base_weight(), "base weight");
        // The hash chains the table CRC-32 over four-byte pieces (a short one
        // padded with zeros): seeded with all ones and inverted, the standard one.
        CRC32 standard = new CRC32();
        standard.update(new byte[] {'a', 'b', 'c', 'd', 'e', 'f', 0, 0});
        checkEquals((int) standard.getValue(),
                ~native_sign_str_hash(new String[] {"abcdxyz", "ef"}, -1), "CRC-32 chain");
    }

    /** Engine options: set on an empty index, refused on a full one, kept across restarts. */
    static void options(Path dir) {
        String note = "call 13812345678 列夫·托尔斯泰 café";
        HostApp app = new HostApp(dir);
        app.insert("p1", "張三", note);
        app.startEngine();
        checkAll(-1, "refused", native_set_option("nosuch", "1"),
                native_set_option("infix_digits", "2"), native_set_option(null, "full"),
                native_set_option("utf8", null));
        checkAll(0, "empty index", native_set_option("infix_digits", "4"),
                native_set_option("utf8", "full"));
        scanAll();
        checkEquals(Set.of("p1"), app.find("5678"), "phone number tail");
        checkEquals(Set.of("p1"), app.find("托尔斯泰"), "text after the middle dot");
        checkEquals(Set.of(), app.find("张三"), "not folded yet");
        checkEquals("call 13812345678 列夫·托尔斯泰 <red>café</red>",
                Utils.native_highlight_abstract(note, "café", 40), "abstract");
        checkEquals(-1, native_set_option("fold", "simplified"), "index not empty");
        checkEquals(0, native_set_option("utf8", "full"), "the value it has");

        // Cleared by the host: the option may change, and the rescan follows it.
        checkEquals(0, native_del_doc(INDEX, DB, TABLE, ""), "clear");
        checkEquals(0, native_set_option("fold", "simplified"), "after the clear");
        scanAll();
        checkEquals(Set.of("p1"), app.find("张三"), "folded");
        checkEquals("<red>張三</red>", Utils.native_highlight_abstract("張三", "张三", 10), "fold");

        native_release_engine();
        checkEquals(0, native_init_engine(app.root, 0), "restart");
        checkEquals(Set.of("p1"), app.find("345678"), "options read back");
        checkEquals(-1, native_set_option("fold", "off"), "still in force");
    }

    private static void scanAll() {
        for (int sent; (sent = native_scan_table(DB, TABLE, INDEX)) != 0;) {
            check(sent > 0, "scan gave " + sent);
        }
    }

    /** The row after the processor replied `reply` to it; a null reply throws instead. */
    private static List<String> process(String[] reply, int[] caps, String... values) {
        String seen = "idx|" + values.length + "|" + String.join(",", values);
        SearchImpl.processor = (name, count, fields, in) -> {
            checkEquals(seen, name + "|" + count + "|" + String.join(",", in), "row seen");
            checkEquals("f1", fields[1], "field names");
            if (reply == null) {
                throw new IllegalStateException("processor failed");
            }
            return reply;
        };
        checkEquals(0, HostApp.processRow(values, caps), "proc result");
        return Arrays.asList(values);
    }

    /** Both host callbacks, called with chosen log lines and rows. */
    static void directCallbacks(Path dir) {
        List<String> lines = new CopyOnWriteArrayList<>();
        SearchImpl.logSink = lines::add;
        // A cut inside a three-byte character leaves one replacement character,
        // not bytes Java cannot read; characters beyond U+FFFF arrive whole.
        for (String text : List.of("plain line \n", "x".repeat(2000), "a" + "中".repeat(700),
                "emoji \uD83D\uDE00")) {
            checkEquals(0, HostApp.log(text, 1), "result");
        }
        checkEquals(List.of("plain line \n", "x".repeat(1023), "a" + "中".repeat(340) + "\uFFFD",
                "emoji \uD83D\uDE00"), lines, "lines");
        // A sink that throws does not leave the exception pending in native code.
        SearchImpl.logSink = line -> {
            throw new IllegalStateException("sink failed");
        };
        checkEquals(0, HostApp.log("boom", 3), "throwing sink");

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

    /** Every call kind 10,000 times on two threads while others write through the hook and log. */
    static void manyCallsOnSeveralThreads(Path dir) {
        final int calls = 10_000, rows = 300;
        AtomicInteger logged = new AtomicInteger();
        AtomicInteger processed = new AtomicInteger();
        SearchImpl.logSink = line -> logged.incrementAndGet();
        SearchImpl.processor = (name, count, fields, values) -> {
            processed.incrementAndGet();
            return new String[] {values[0], values[1] + " tagged"};
        };
        HostApp app = new HostApp(dir);
        app.startEngine();
        checkEquals(0, native_set_log_callback(), "log callback");
        checkEquals(0, native_set_index_dataFunc(INDEX), "data func");
        checkEquals(0, native_hook_db(DB, app.conn), "hook");
        app.insert("c1", "张三", "kestrel");
        List<Runnable> jobs = new ArrayList<>();
        for (int t = 0; t < 2; t++) {
            jobs.add(() -> {
                // Rows only ever get added: a later search never finds fewer.
                for (int i = 0, last = 0, found; i < calls; i++, last = found) {
                    found = app.find("zhangsan").size();
                    check(found >= last, "found " + found + " after " + last);
                    check(native_search(INDEX, "name", "zs", 0, 5, true) != null, "field");
                    check(Utils.native_highlight_abstract("我和张三丰说", "zs", 10) != null, "hl");
                    check(Utils.native_convert_pinyin("张", 3) != null, "pinyin");
                    native_sign_str_hash(new String[] {"abcd", "ef", null}, i);
                    check(native_index_version() != null, "version");
                    native_get_table_record(INDEX, DB, TABLE);
                    // Alternating values, so half of the calls change the document;
                    // elements that are not strings are indexed by their text.
                    check(native_modify_doc(INDEX, DB, TABLE, "m1",
                            new Object[] {"李四", (i % 2 == 0) ? "even" : 987654}) == 0, "modify");
                    native_del_doc(INDEX, DB, TABLE, "absent");
                    native_set_auto_save(INDEX, DB, TABLE, i % 2 == 0);
                    native_get_del_num("default");
                    native_set_max_rawid(INDEX, DB, TABLE, 1);
                    native_base_weight();
                }
            });
        }
        // A loop inside one native call: a reference leaked per iteration
        // would pile up in that call's frame.
        jobs.add(() -> checkEquals(0, HostApp.log("line", calls), "log loop"));
        // The writer starts last, so the others are running while it writes.
        jobs.add(() -> {
            for (int i = 0; i < rows; i++) {
                app.insert("r" + i, "张三", "row" + i);
            }
        });
        inParallel(jobs);
        check(logged.get() >= calls, "log lines delivered");
        checkEquals(rows + 1, processed.get(), "every hooked row processed");
        checkEquals(rows + 1, app.find("tagged").size(), "processed values indexed");
        checkEquals(Set.of("m1"), app.find("987654"), "modified document, number element");

        // Many rows, and a wide row, within one native call each.
        app.exec("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < "
                + calls + ") INSERT INTO contact SELECT 'h' || i, '王五', 'bulk ' || i FROM n");
        checkEquals(rows + 1 + calls, processed.get(), "bulk rows processed");
        Object[] wide = IntStream.range(0, 2000)
                .mapToObj(i -> (i % 3 == 0) ? null : (i % 3 == 1) ? "w" + i : (Object) i)
                .toArray();
        native_modify_doc(INDEX, DB, TABLE, "wide", wide);
    }

    static void nullArguments(Path dir) {
        // No engine: everything that needs one refuses.
        checkAll(-1, "without engine", native_set_log_callback(),
                native_set_index_dataFunc("x"), native_addDB("a", "b", "c", false),
                native_add_index_for_table("i", "d", "t", "k", "f", "", "", "", "", null),
                native_hook_db("a", 1L), native_scan_table("a", "b", "c"),
                native_modify_doc("i", "d", "t", "k", new Object[] {"v"}),
                native_del_doc("i", "d", "t", "k"), native_get_del_num("default"),
                native_set_auto_save("i", "d", "t", true), native_set_option("utf8", "full"),
                native_init_engine(null, 0),
                native_init_engine("", 0));
        checkAll(null, "without engine", native_search("i", null, "q", 0, 10, false),
                native_get_table_record("i", "d", "t"));
        native_ellipse_index("default", true);  // nothing to do, no crash

        HostApp app = new HostApp(dir);
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
    }
}
