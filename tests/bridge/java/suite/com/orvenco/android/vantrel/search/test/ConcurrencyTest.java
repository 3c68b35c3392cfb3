package com.orvenco.android.vantrel.search.test;

import static com.orvenco.android.vantrel.search.NativeHandler.*;
import static com.orvenco.android.vantrel.search.test.Harness.check;
import static com.orvenco.android.vantrel.search.test.Harness.checkEquals;
import static com.orvenco.android.vantrel.search.test.Harness.keys;

import com.orvenco.android.vantrel.search.SearchImpl;
import java.nio.file.Path;
import java.util.List;
import java.util.concurrent.CopyOnWriteArrayList;
import java.util.concurrent.atomic.AtomicBoolean;
import java.util.concurrent.atomic.AtomicInteger;

/** Callbacks and searches on several Java threads at once. */
final class ConcurrencyTest {
    private ConcurrencyTest() {}

    private static final int ROWS = 300;

    static void searchesWhileWriting(Path dir) throws Exception {
        AtomicInteger processed = new AtomicInteger();
        AtomicInteger logged = new AtomicInteger();
        List<Throwable> failures = new CopyOnWriteArrayList<>();
        SearchImpl.setLogSink(line -> logged.incrementAndGet());
        SearchImpl.setDataProcessor(HostApp.INDEX, (name, count, fields, values) -> {
            processed.incrementAndGet();
            String[] out = values.clone();
            out[1] = values[1] + " tagged";
            return out;
        });
        try (HostApp app = new HostApp(dir)) {
            app.startEngine();
            checkEquals(0, native_set_log_callback(), "log callback");
            checkEquals(0, native_set_index_dataFunc(HostApp.INDEX), "data func");
            checkEquals(0, native_hook_db(HostApp.DB, app.conn), "hook");

            AtomicBoolean writing = new AtomicBoolean(true);
            Thread writer = new Thread(() -> {
                try {
                    for (int i = 0; i < ROWS; i++) {
                        app.insert("r" + i, "张三", "row" + i);
                    }
                } catch (Throwable t) {
                    failures.add(t);
                } finally {
                    writing.set(false);
                }
            });
            Thread[] readers = new Thread[3];
            for (int r = 0; r < readers.length; r++) {
                readers[r] = new Thread(() -> {
                    try {
                        int last = 0;
                        while (writing.get()) {
                            String json = app.search("zhangsan");
                            int found = Harness.pkeys(json).size();
                            check(json == null || json.startsWith("{\"all_result\":["), json);
                            // Rows only ever get added: a later search never finds fewer.
                            check(found >= last, "found " + found + " after " + last);
                            last = found;
                        }
                    } catch (Throwable t) {
                        failures.add(t);
                    }
                });
            }
            Thread[] loggers = new Thread[2];
            for (int l = 0; l < loggers.length; l++) {
                loggers[l] = new Thread(() -> {
                    try {
                        for (int i = 0; i < 200; i++) {
                            checkEquals(0, TestDb.log("line " + i, 1), "log result");
                        }
                    } catch (Throwable t) {
                        failures.add(t);
                    }
                });
            }
            for (Thread t : readers) {
                t.start();
            }
            for (Thread t : loggers) {
                t.start();
            }
            writer.start();
            writer.join();
            for (Thread t : readers) {
                t.join();
            }
            for (Thread t : loggers) {
                t.join();
            }
            if (!failures.isEmpty()) {
                throw new AssertionError("thread failed", failures.get(0));
            }
            checkEquals(ROWS, processed.get(), "every hooked row processed");
            check(logged.get() >= 400, "every log line delivered: " + logged.get());
            checkEquals(ROWS, app.find("zhangsan").size(), "every row indexed");
            checkEquals(ROWS, app.find("tagged").size(), "processed values indexed");
            check(app.find("row123").contains("r123"), "one row");
        } finally {
            SearchImpl.setDataProcessor(HostApp.INDEX, null);
            SearchImpl.setLogSink(null);
        }
    }
}
