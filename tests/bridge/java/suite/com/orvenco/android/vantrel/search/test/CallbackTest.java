package com.orvenco.android.vantrel.search.test;

import static com.orvenco.android.vantrel.search.test.Harness.check;
import static com.orvenco.android.vantrel.search.test.Harness.checkEquals;
import static com.orvenco.android.vantrel.search.test.HostApp.*;

import com.orvenco.android.vantrel.search.SearchImpl;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.concurrent.CopyOnWriteArrayList;
import java.util.concurrent.atomic.AtomicBoolean;
import java.util.concurrent.atomic.AtomicInteger;
import java.util.stream.IntStream;

/** The two host callbacks: called directly with chosen lines and rows, and from many threads. */
final class CallbackTest {
    private CallbackTest() {}

    static void logLines(Path dir) {
        List<String> lines = new CopyOnWriteArrayList<>();
        SearchImpl.setLogSink(lines::add);
        checkEquals(0, HostApp.log("plain line \n", 1), "result");
        HostApp.log("x".repeat(2000), 1);
        // A cut inside a three-byte character leaves one replacement character,
        // not bytes Java cannot read; characters beyond U+FFFF arrive whole.
        HostApp.log("a" + "中".repeat(700), 1);
        HostApp.log("emoji \uD83D\uDE00 end", 1);
        checkEquals(List.of("plain line \n", "x".repeat(1023), "a" + "中".repeat(340) + "\uFFFD",
                "emoji \uD83D\uDE00 end"), lines, "lines");
        // A sink that throws does not leave the exception pending in native code.
        SearchImpl.setLogSink(line -> {
            throw new IllegalStateException("sink failed");
        });
        checkEquals(0, HostApp.log("boom", 3), "throwing sink");
    }

    /** The row after the processor replied `reply` to it. */
    private static List<String> process(String[] reply, int[] caps, String... values) {
        String seen = "idx|" + values.length + "|" + String.join(",", values);
        SearchImpl.setDataProcessor("idx", (name, count, fields, in) -> {
            checkEquals(seen, name + "|" + count + "|" + String.join(",", in), "row seen");
            checkEquals("f1", fields[1], "field names");
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
        // A shorter reply ends the copying where it ends; no reply changes nothing.
        checkEquals(List.of("p", "b"), process(new String[] {"p"}, caps, "a", "b"), "short");
        checkEquals(List.of("a", "b"), process(null, caps, "a", "b"), "null reply");
        SearchImpl.setDataProcessor("idx", (name, count, fields, values) -> {
            throw new IllegalStateException("processor failed");
        });
        String[] row = {"a", "b"};
        checkEquals(0, HostApp.processRow(row, caps), "throwing processor");
        checkEquals(List.of("a", "b"), Arrays.asList(row), "throwing processor");
        // A wide row: every element reference is released as it is used.
        String[] wide = IntStream.range(0, 300).mapToObj(i -> "v" + i).toArray(String[]::new);
        String[] upper = Arrays.stream(wide).map(String::toUpperCase).toArray(String[]::new);
        int[] wideCaps = IntStream.range(0, 300).map(i -> 8).toArray();
        checkEquals(Arrays.asList(upper), process(upper, wideCaps, wide), "wide row");
    }

    /** Hooked writes, searches and log lines on several Java threads at once. */
    static void severalThreads(Path dir) {
        final int rows = 300;
        AtomicInteger processed = new AtomicInteger();
        AtomicInteger logged = new AtomicInteger();
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
                    }
                });
                jobs.add(() -> {
                    for (int i = 0; i < 200; i++) {
                        checkEquals(0, HostApp.log("line " + i, 1), "log result");
                    }
                });
            }
            // The writer starts last, so readers and loggers are running while it writes.
            jobs.add(() -> {
                try {
                    for (int i = 0; i < rows; i++) {
                        app.insert("r" + i, "张三", "row" + i);
                    }
                } finally {
                    writing.set(false);
                }
            });
            Harness.inParallel(jobs);
            checkEquals(rows, processed.get(), "every hooked row processed");
            check(logged.get() >= 600, "every log line delivered: " + logged.get());
            checkEquals(rows, app.find("zhangsan").size(), "every row indexed");
            checkEquals(rows, app.find("tagged").size(), "processed values indexed");
        }
    }
}
