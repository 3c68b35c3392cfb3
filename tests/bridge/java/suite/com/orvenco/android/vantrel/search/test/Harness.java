package com.orvenco.android.vantrel.search.test;

import com.orvenco.android.vantrel.search.NativeHandler;
import java.io.IOException;
import java.lang.reflect.InvocationTargetException;
import java.lang.reflect.Method;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Comparator;
import java.util.Objects;
import java.util.Set;
import java.util.TreeSet;
import java.util.regex.Matcher;
import java.util.regex.Pattern;
import java.util.stream.Stream;

/**
 * Runs one test, named "Class.method" on the command line, in this JVM; exits non-zero when it
 * fails. CTest runs every test in its own JVM under -Xcheck:jni and fails it on any JNI warning.
 */
public final class Harness {
    private Harness() {}

    public static void main(String[] args) throws Exception {
        if (args.length != 1 || !args[0].contains(".")) {
            System.err.println("usage: Harness <TestClass>.<method>");
            System.exit(2);
        }
        String[] parts = args[0].split("\\.", 2);
        Class<?> cls = Class.forName(Harness.class.getPackageName() + "." + parts[0]);
        Method method = cls.getDeclaredMethod(parts[1], Path.class);
        method.setAccessible(true);
        Path dir = Files.createTempDirectory("kestrin-bridge-");
        try {
            method.invoke(null, dir);
        } catch (InvocationTargetException e) {
            e.getCause().printStackTrace();
            System.exit(1);
        } finally {
            NativeHandler.native_release_engine();
            deleteTree(dir);
        }
        System.out.println("passed: " + args[0]);
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

    private static final Pattern PKEY_ARR = Pattern.compile("\"pkey_arr\":\\[([^\\]]*)\\]");
    private static final Pattern QUOTED = Pattern.compile("\"([^\"]*)\"");

    /** The primary keys of every table result of a JSON result text (none for null). */
    static Set<String> pkeys(String json) {
        Set<String> keys = new TreeSet<>();
        if (json == null) {
            return keys;
        }
        Matcher arrays = PKEY_ARR.matcher(json);
        while (arrays.find()) {
            Matcher quoted = QUOTED.matcher(arrays.group(1));
            while (quoted.find()) {
                keys.add(quoted.group(1));
            }
        }
        return keys;
    }

    static Set<String> keys(String... keys) {
        return new TreeSet<>(Set.of(keys));
    }

    private static void deleteTree(Path dir) throws IOException {
        try (Stream<Path> paths = Files.walk(dir)) {
            for (Path p : (Iterable<Path>) paths.sorted(Comparator.reverseOrder())::iterator) {
                Files.deleteIfExists(p);
            }
        }
    }
}
