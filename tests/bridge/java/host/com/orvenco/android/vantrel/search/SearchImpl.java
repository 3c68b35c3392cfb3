package com.orvenco.android.vantrel.search;

import java.util.Map;
import java.util.concurrent.ConcurrentHashMap;
import java.util.function.Consumer;

/**
 * Receives the engine's callbacks, from any thread: its log lines, and the rows it is about to
 * index, which the processor registered for the index may rewrite.
 */
public final class SearchImpl {
    public interface DataProcessor {
        String[] process(String name, int count, String[] fieldNames, String[] values);
    }

    private static volatile Consumer<String> logSink = line -> { };
    private static final Map<String, DataProcessor> processors = new ConcurrentHashMap<>();

    private SearchImpl() {}

    public static void setLogSink(Consumer<String> sink) {
        logSink = sink;
    }

    public static void setDataProcessor(String name, DataProcessor processor) {
        processors.put(name, processor);
    }

    private static void JNI_LOG(String line) {
        logSink.accept(line);
    }

    private static String[] profLayerDataProcFunc(String name, int count, String[] fieldNames,
            String[] values) {
        DataProcessor processor = processors.get(name);
        return processor == null ? values : processor.process(name, count, fieldNames, values);
    }
}
