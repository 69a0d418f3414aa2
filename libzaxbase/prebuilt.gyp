{
  # What is compiled beforehand: `native`, the half of the plain road without V8, in one form for every
  # Node, and `backend`, the half that is V8's, for one. prebuilt.js puts this into a folder beside.
  'variables': {
    'flags': [
      '-Os',
      '-fexceptions',
      '-frtti',
      '-fvisibility=hidden',
      '-ffunction-sections',
      '-fdata-sections',
      '-Wno-cast-function-type',
      '-fmacro-prefix-map=../../=libzaxbase/',
    ],
  },
  'targets': [
    {
      # A file for each area: an add-on carries those that it uses.
      'target_name': 'native',
      'type': 'static_library',
      'standalone_static_library': 1,
      'sources': ['<!@(ls ../zax-*.cpp | grep -v ../zax-v8-)'],
      'cflags_cc': ['<@(flags)'],
    },
    {
      # As a library it opens add-ons; the object of its first source goes into an add-on.
      'target_name': 'backend',
      'sources': ['../zaxbase-v8.cpp', '../zaxbase-backend.cpp'],
      'cflags_cc': ['<@(flags)'],
      'ldflags': ['-s', '-Wl,--gc-sections', '-Wl,-z,now'],
    },
  ],
}
