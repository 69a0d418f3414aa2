{
  'target_defaults': {
    'dependencies': ['<!(node -p "require(\'zaxbase\').targets")'],
  },
  'targets': [
    {
      # The part of the framework that does without Node, tested without Node.
      'target_name': 'native_tests',
      'type': 'executable',
      'product_extension': '',
      'sources': ['fuzz/fuzz.cpp', '<!@(ls native/*.cpp)'],
      'libraries': ['-lgtest', '-lgtest_main'],
    },
    {
      # The part that talks to V8, driven from JavaScript.
      'target_name': 'bridge',
      'sources': ['<!@(ls bridge/*.cpp)'],
    },
    {
      # An add-on on ZAX_MODULE, as an author builds one: the framework is one unit of its own.
      'target_name': 'plain',
      'dependencies!': ['<!(node -p "require(\'zaxbase\').targets")'],
      'sources': ['plain/plain.cpp', 'plain/types.cpp', '../libzaxbase/zaxbase.cpp'],
      'include_dirs': ['../libzaxbase'],
      'cflags': ['-fvisibility=hidden'],
      'cflags_cc': [
        '-fexceptions',
        '-frtti',
        '-Wno-cast-function-type',
        '-isystem', '<!(node -p "path.dirname(require.resolve(\'nan\'))")',
      ],
      'defines': ['NDEBUG'],
    },
  ],
}
