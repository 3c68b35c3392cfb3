package com.orvenco.android.vantrel.search.test;

import com.orvenco.android.vantrel.search.NativeHandler;

/** The host's own database connections and direct calls of the engine's callbacks. */
final class TestDb {
    static {
        // The engine library first, as the application loads it: its load
        // stores the VM that the callbacks use.
        NativeHandler.native_base_weight();
        System.loadLibrary("ks_bridge_test_helper");
    }

    private TestDb() {}

    /** A keyed connection (its sqlite3* as a long), or 0. */
    static native long open(String path, String key);
    /** The SQLite result code. */
    static native int exec(long connection, String sql);
    static native void close(long connection);

    /** Runs the data-processing callback over one row; the values afterwards land in out. */
    static native int processRow(String name, String[] fields, String[] values, int[] capacities,
            String[] out);
    /** Calls the log callback `times` times in one native call; the sum of its results. */
    static native int log(String text, int times);
    /** Calls the log callback from a native thread, attached to the VM or not. */
    static native int logFromNativeThread(String text, boolean attach);

    static void execOk(long connection, String sql) {
        int rc = exec(connection, sql);
        Harness.check(rc == 0, "SQLite code " + rc + " for " + sql);
    }
}
