package com.orvenco.android.vantrel.search;

import java.util.function.Consumer;

/**
 * Receives the engine's callbacks: its log lines (once {@link NativeHandler#native_set_log_callback}
 * was called) and the rows it is about to index (for the indexes named to
 * {@link NativeHandler#native_set_index_dataFunc}), which the application's processor may rewrite.
 * The engine calls in from any thread it runs on, several at once, so the sink and the processor
 * must be thread-safe. The engine finds this class when the library is loaded: keep its name and
 * its two private methods.
 */
public final class SearchImpl {
    /** Rewrites one row's values before they are indexed. */
    public interface DataProcessor {
        /**
         * Processes one row.
         *
         * @param name the index the row goes into
         * @param count number of values
         * @param fieldNames the columns, in the order of the values
         * @param values the row's values, which may be changed in place
         * @return the values to index: null keeps the row as it was, a null element empties its
         *     value, and an element longer than the engine's buffer for it (at least its old
         *     length) leaves it and every later value as they were
         */
        String[] process(String name, int count, String[] fieldNames, String[] values);
    }

    /** Where log lines go; the default drops them. */
    public static volatile Consumer<String> logSink = line -> { };
    /** Rewrites rows before they are indexed; null keeps them as they are. */
    public static volatile DataProcessor processor;

    private SearchImpl() {}

    private static void JNI_LOG(String line) {
        logSink.accept(line);
    }

    private static String[] profLayerDataProcFunc(String name, int count, String[] fieldNames,
            String[] values) {
        DataProcessor current = processor;
        return current == null ? values : current.process(name, count, fieldNames, values);
    }
}
