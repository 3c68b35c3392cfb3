package com.orvenco.android.vantrel.search;

import java.util.concurrent.ConcurrentHashMap;

/**
 * Receives the engine's callbacks: its log lines and the rows it is about to index, which a
 * registered processor may rewrite. The engine calls in from any thread.
 */
public final class SearchImpl {
    public interface LogSink {
        void log(String line);
    }

    public interface DataProcessor {
        String[] process(String name, int count, String[] fieldNames, String[] values);
    }

    private static volatile LogSink logSink;
    private static final ConcurrentHashMap<String, DataProcessor> processors =
            new ConcurrentHashMap<>();

    private SearchImpl() {}

    public static void setLogSink(LogSink sink) {
        logSink = sink;
    }

    public static void setDataProcessor(String name, DataProcessor processor) {
        if (processor == null) {
            processors.remove(name);
        } else {
            processors.put(name, processor);
        }
    }

    private static void JNI_LOG(String line) {
        LogSink sink = logSink;
        if (sink != null) {
            sink.log(line);
        }
    }

    private static String[] profLayerDataProcFunc(String name, int count, String[] fieldNames,
            String[] values) {
        DataProcessor processor = processors.get(name);
        return processor == null ? values : processor.process(name, count, fieldNames, values);
    }
}
