package com.orvenco.android.vantrel.search;

import java.util.function.Consumer;

/**
 * Receives the engine's callbacks, from any thread: its log lines, and the rows it is about to
 * index, which the application's processor may rewrite.
 */
public final class SearchImpl {
    public interface DataProcessor {
        String[] process(String name, int count, String[] fieldNames, String[] values);
    }

    /** Where log lines go; the default drops them. */
    public static volatile Consumer<String> logSink = line -> { };
    /** Rewrites rows of every index before they are indexed; null keeps them as they are. */
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
