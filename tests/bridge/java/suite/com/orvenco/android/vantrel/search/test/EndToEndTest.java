package com.orvenco.android.vantrel.search.test;

import static com.orvenco.android.vantrel.search.NativeHandler.*;
import static com.orvenco.android.vantrel.search.test.HostApp.*;

import com.orvenco.android.vantrel.search.SearchImpl;
import com.orvenco.android.vantrel.search.Utils;
import java.nio.file.Path;
import java.util.List;
import java.util.Set;
import java.util.concurrent.CopyOnWriteArrayList;
import java.util.zip.CRC32;

/** The application's whole use of the engine, in the order it makes its calls. */
final class EndToEndTest {
    private EndToEndTest() {}

    static void appFlow(Path dir) {
        try (HostApp app = new HostApp(dir)) {
            app.insert("c1", "张三", "meeting about the kestrel survey");
            app.insert("c2", "李四", "东北大学");
            app.insert("c3", "王小明", "secret budget");
            // Stored as standard four-byte UTF-8, which Java strings cannot take as is.
            app.exec("INSERT INTO contact VALUES('e1', '表情', 'smile ' || char(128512))");
            app.exec("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 60)"
                    + " INSERT INTO contact SELECT 'f' || i, '赵六', 'filler row ' || i FROM n");

            app.startEngine();
            checkEquals(0, native_set_log_callback(), "log callback");
            // The application hides one word of the notes from the index.
            List<String> notesSeen = new CopyOnWriteArrayList<>();
            SearchImpl.setDataProcessor(INDEX, (name, count, fields, values) -> {
                notesSeen.add(fields[1] + ":" + values[1]);
                return new String[] {values[0], values[1].replace("secret", "hidden")};
            });
            checkEquals(0, native_set_index_dataFunc(INDEX), "data func");

            check(app.scanAll() >= 64, "every row scanned");
            check(notesSeen.contains("note:smile \uD83D\uDE00"), "supplementary character intact");
            checkEquals(Set.of("c3"), app.find("hidden"), "processed value indexed");
            checkEquals(Set.of(), app.find("secret"), "original value not indexed");

            // Rows the application writes afterwards arrive through the hook.
            checkEquals(0, native_hook_db(DB, app.conn), "hook");
            app.insert("c4", "张伟", "secret hooked row");
            checkEquals(Set.of("c3", "c4"), app.find("hidden"), "hooked row processed");

            String json = native_search(INDEX, null, "张三", 0, 1000, false);
            check(json != null && json.startsWith("{\"all_result\":[{\"table_name\":\"contact\""),
                    "JSON result: " + json);
            checkEquals(Set.of("c1"), pkeys(json), "Chinese");
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
            checkEquals(null, native_search(INDEX, null, "孙八", 0, 9, false), "no engine");
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
    }
}
