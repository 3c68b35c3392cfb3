package com.orvenco.android.vantrel.search.test;

import static com.orvenco.android.vantrel.search.test.Harness.check;
import static com.orvenco.android.vantrel.search.test.Harness.checkEquals;

import com.orvenco.android.vantrel.search.SearchImpl;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.concurrent.CopyOnWriteArrayList;

/** The two host callbacks, called directly with lines and rows chosen by the test. */
final class CallbackTest {
    private CallbackTest() {}

    static void logLines(Path dir) {
        List<String> lines = new CopyOnWriteArrayList<>();
        SearchImpl.setLogSink(lines::add);
        try {
            checkEquals(0, TestDb.log("plain line \n", 1), "result");
            checkEquals(List.of("plain line \n"), lines, "line as given");

            lines.clear();
            checkEquals(0, TestDb.log("x".repeat(2000), 1), "long line");
            checkEquals("x".repeat(1023), lines.get(0), "cut at 1023 bytes");

            // The cut falls inside a three-byte character: the piece left is one
            // replacement character, not bytes Java cannot read.
            lines.clear();
            TestDb.log("a" + "中".repeat(700), 1);
            checkEquals("a" + "中".repeat(340) + "\uFFFD", lines.get(0), "cut inside a character");
            // Characters beyond U+FFFF arrive as one code point, NUL-free text intact.
            lines.clear();
            TestDb.log("emoji \uD83D\uDE00 end", 1);
            checkEquals("emoji \uD83D\uDE00 end", lines.get(0), "supplementary character");

            // A thread the host attached reaches the host class through the
            // lookup made at load; an unattached one is refused.
            lines.clear();
            checkEquals(0, TestDb.logFromNativeThread("from a native thread", true), "attached");
            checkEquals(List.of("from a native thread"), lines, "attached thread's line");
            checkEquals(-1, TestDb.logFromNativeThread("dropped", false), "not attached");
            checkEquals(1, lines.size(), "unattached line dropped");

            // A sink that throws does not leave the exception pending in native code.
            SearchImpl.setLogSink(line -> {
                throw new IllegalStateException("sink failed");
            });
            checkEquals(0, TestDb.log("boom", 3), "throwing sink");
        } finally {
            SearchImpl.setLogSink(null);
        }
    }

    private static String[] processRow(String[] values, int[] capacities) {
        String[] fields = new String[values.length];
        for (int i = 0; i < fields.length; i++) {
            fields[i] = "f" + i;
        }
        String[] out = new String[values.length];
        checkEquals(0, TestDb.processRow("idx", fields, values, capacities, out), "proc result");
        return out;
    }

    static void dataProcessing(Path dir) {
        List<String> calls = new ArrayList<>();
        String[][] reply = new String[1][];
        SearchImpl.setDataProcessor("idx", (name, count, fields, values) -> {
            calls.add(name + "|" + count + "|" + String.join(",", fields) + "|"
                    + String.join(",", values));
            return reply[0];
        });
        try {
            int[] caps = {5, 5, 5};
            reply[0] = new String[] {"xxxxx", null, "yy"};
            checkEquals(Arrays.asList("xxxxx", "", "yy"),
                    Arrays.asList(processRow(new String[] {"1", "2", "3"}, caps)),
                    "rewritten, null empties");
            checkEquals(List.of("idx|3|f0,f1,f2|1,2,3"), calls, "host saw the row");

            // One byte over the capacity: that value and every later one stay.
            reply[0] = new String[] {"ok", "123456", "zz"};
            checkEquals(Arrays.asList("ok", "2", "3"),
                    Arrays.asList(processRow(new String[] {"1", "2", "3"}, caps)),
                    "over capacity");
            // Capacities count bytes: 张三 is six.
            reply[0] = new String[] {"张三", "张三"};
            checkEquals(Arrays.asList("张三", "b"),
                    Arrays.asList(processRow(new String[] {"a", "b"}, new int[] {6, 5})),
                    "bytes, not characters");
            // A shorter reply ends the copying where it ends.
            reply[0] = new String[] {"p"};
            checkEquals(Arrays.asList("p", "b"),
                    Arrays.asList(processRow(new String[] {"a", "b"}, caps)), "short reply");
            // No reply, or a processor that throws, changes nothing.
            reply[0] = null;
            checkEquals(Arrays.asList("a", "b"),
                    Arrays.asList(processRow(new String[] {"a", "b"}, caps)), "null reply");
            SearchImpl.setDataProcessor("idx", (name, count, fields, values) -> {
                throw new IllegalStateException("processor failed");
            });
            checkEquals(Arrays.asList("a", "b"),
                    Arrays.asList(processRow(new String[] {"a", "b"}, caps)), "throwing processor");

            // A wide row: every element reference is released as it is used.
            SearchImpl.setDataProcessor("idx", (name, count, fields, values) -> {
                String[] out = new String[count];
                for (int i = 0; i < count; i++) {
                    out[i] = values[i].toUpperCase();
                }
                return out;
            });
            String[] wide = new String[300];
            int[] wideCaps = new int[300];
            for (int i = 0; i < wide.length; i++) {
                wide[i] = "v" + i;
                wideCaps[i] = 8;
            }
            String[] out = processRow(wide, wideCaps);
            for (int i = 0; i < wide.length; i++) {
                checkEquals("V" + i, out[i], "wide row value " + i);
            }
        } finally {
            SearchImpl.setDataProcessor("idx", null);
        }
    }
}
