{
  'targets': [
    {
      'target_name': 'echo',
      'sources': ['zax-echo-worker.cpp', '<!(node -p "require(\'zaxbase\').frameSource")'],
      'cflags_cc': ['<!@(node -p "require(\'zaxbase\').flags.join(\' \')")'],
    },
  ],
}
