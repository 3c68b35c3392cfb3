package com.orvenco.android.vantrel.search.test;

import static com.orvenco.android.vantrel.search.NativeHandler.*;

import java.lang.reflect.Method;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Arrays;
import java.util.Collections;
import java.util.Comparator;
import java.util.List;
import java.util.Objects;
import java.util.Set;
import java.util.TreeSet;
import java.util.concurrent.CompletableFuture;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.stream.Stream;

/**
 * What the application sets up: an encrypted database "app" with a contact table on its own
 * connection (open until the JVM exits), and the engine on a root beside it with the index
 * "contacts" (name searchable by pinyin, note as text). Its natives also call the engine's
 * callbacks directly. Its main runs one test ("Class.method") and then releases the engine,
 * which unhooks the connection; a failure ends it with an uncaught exception. CTest runs every
 * test in its own JVM under -Xcheck:jni and fails it on any JNI warning.
 */
final class HostApp {
    static {
        // The engine library first, as the application loads it: its load
        // stores the VM that the callbacks use.
        native_base_weight();
        System.loadLibrary("ks_bridge_test_helper");
    }

    static final String KEY = "s3cret-key", DB = "app", TABLE = "contact", INDEX = "contacts";

    /** A keyed connection (its sqlite3* as a long), or 0. */
    static native long open(String path, String key);
    static native int exec(long connection, String sql);
    /** Runs the data-processing callback of index "idx" over one row, in place; its result. */
    static native int processRow(String[] values, int[] capacities);
    /** Calls the log callback `times` times in one native call; the sum of its results. */
    static native int log(String text, int times);

    public static void main(String[] args) throws Exception {
        String[] parts = args[0].split("\\.", 2);
        Method method = Class.forName(HostApp.class.getPackageName() + "." + parts[0])
                .getDeclaredMethod(parts[1], Path.class);
        Path dir = Files.createTempDirectory("kestrin-bridge-");
        try {
            method.invoke(null, dir);
        } finally {
            native_release_engine();
            try (Stream<Path> paths = Files.walk(dir)) {
                paths.sorted(Comparator.reverseOrder()).forEach(p -> p.toFile().delete());
            }
        }
    }

    static void check(boolean condition, String what) {
        if (!condition) {
            throw new AssertionError(what);
        }
    }

    static void checkEquals(Object expected, Object actual, String what) {
        if (!Objects.equals(expected, actual)) {
            throw new AssertionError(what + ": expected <" + expected + "> but was <" + actual + ">");
        }
    }

    /** Every result equals `expected`. */
    static void checkAll(Object expected, String what, Object... results) {
        checkEquals(Collections.nCopies(results.length, expected), Arrays.asList(results), what);
    }

    /** Runs the jobs on threads of their own at once; rethrows the first failure. */
    static void inParallel(List<Runnable> jobs) {
        ExecutorService pool = Executors.newFixedThreadPool(jobs.size());
        try {
            CompletableFuture.allOf(jobs.stream().map(job -> CompletableFuture.runAsync(job, pool))
                    .toArray(CompletableFuture[]::new)).join();
        } finally {
            pool.shutdown();
        }
    }

    /** The primary keys of every table result of a JSON result text (none for null). */
    static Set<String> pkeys(String json) {
        Set<String> keys = new TreeSet<>();
        String[] arrays = (json == null ? "" : json).split("\"pkey_arr\":\\[");
        for (int i = 1; i < arrays.length; i++) {
            String list = arrays[i].substring(0, arrays[i].indexOf(']'));
            keys.addAll(Arrays.asList(list.replace("\"", "").split(",")));
        }
        keys.remove("");
        return keys;
    }

    final String root;
    final String dbPath;
    final long conn;

    HostApp(Path dir) {
        root = dir.resolve("root").toString();
        dbPath = dir.resolve("app.db").toString();
        conn = open(dbPath, KEY);
        exec("CREATE TABLE IF NOT EXISTS contact(cid TEXT, name TEXT, note TEXT)");
    }

    /** Starts the engine, registers the database and the index. */
    void startEngine() {
        checkEquals(0, native_init_engine(root, 0), "init");
        checkEquals(0, native_addDB(DB, dbPath, KEY, false), "addDB");
        checkEquals(0, native_add_index_for_table(INDEX, DB, TABLE, "cid", "name,note", "",
                "name", "", "", null), "add index");
    }

    void exec(String sql) {
        checkEquals(0, exec(conn, sql), "SQLite code for " + sql);
    }

    void insert(String cid, String name, String note) {
        exec("INSERT INTO contact VALUES('" + cid + "','" + name + "','" + note + "')");
    }

    Set<String> find(String query) {
        return pkeys(native_search(INDEX, null, query, 0, 1000, false));
    }
}
