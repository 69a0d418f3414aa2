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
  ],
}
